// A whole file in memory, allocated once at its exact size and not cleared: the writer fills every byte.
#pragma once

#include <cstdlib>
#include <memory>
#include <span>

#include "base/byte_order.h"
#include "base/error.h"
#include "platform/memory.h"

namespace velor {

class FileImage {
  public:
    // Replaces what the image held. False with "Out of memory".
    bool allocate(std::uint64_t size) {
        release();
        if (size > SIZE_MAX)
            return fail(kOutOfMemory);
        bytes_.reset(static_cast<Byte*>(std::malloc(static_cast<std::size_t>(size))));
        if (!bytes_)
            return fail(kOutOfMemory);
        size_ = static_cast<std::size_t>(size);
        adviseLargeBlock(bytes_.get(), size_);
        return true;
    }
    void release() {
        bytes_.reset();
        size_ = 0;
    }

    std::size_t size() const { return size_; }
    std::span<Byte> bytes() { return {bytes_.get(), size_}; }
    std::span<const Byte> bytes() const { return {bytes_.get(), size_}; }

  private:
    struct Free {
        void operator()(Byte* bytes) const { std::free(bytes); }
    };
    std::unique_ptr<Byte[], Free> bytes_;
    std::size_t size_ = 0;
};

}  // namespace velor
