#include "items/sample_buffer.h"

#include <algorithm>
#include <limits>
#include <new>

namespace velor {

namespace {

constexpr std::size_t kAlignment = 16;

// Distance from the block's start to frame 0: the header and the guard frame, rounded up to the alignment.
std::size_t frame0Offset(std::uint8_t channels) {
    const std::size_t guard = SampleBuffer::kGuardBefore * channels * sizeof(float);
    return (sizeof(SampleBuffer) + guard + kAlignment - 1) / kAlignment * kAlignment;
}

}  // namespace

std::size_t SampleBuffer::allocationSize(std::uint32_t frames, std::uint8_t channels) {
    const std::uint64_t samples = (std::uint64_t{frames} + kGuardAfter) * channels * sizeof(float);
    const std::uint64_t size = frame0Offset(channels) + samples;
    return size > std::numeric_limits<std::size_t>::max() / 2 ? 0 : static_cast<std::size_t>(size);
}

SampleBuffer* SampleBuffer::create(std::uint32_t frames, std::uint8_t channels, float rate) noexcept {
    const std::size_t size = allocationSize(frames, channels);
    if (size == 0)
        return nullptr;
    void* block = ::operator new (size, std::align_val_t{kAlignment}, std::nothrow);
    if (!block)
        return nullptr;
    auto* frame0 = reinterpret_cast<float*>(static_cast<std::byte*>(block) + frame0Offset(channels));
    std::fill_n(frame0 - kGuardBefore * channels, kGuardBefore * channels, 0.0f);
    std::fill_n(frame0 + std::size_t{frames} * channels, kGuardAfter * channels, 0.0f);
    return new (block) SampleBuffer(frame0, frames, channels, rate);
}

void SampleBuffer::release() noexcept {
    if (references_.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        this->~SampleBuffer();
        ::operator delete (static_cast<void*>(this), std::align_val_t{kAlignment});
    }
}

}  // namespace velor
