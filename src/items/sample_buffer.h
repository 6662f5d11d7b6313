// Shared storage of a waveform's frames.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>

namespace velor {

// One reference-counted heap block of 32-bit float frames (channels interleaved, full scale 1.0). One zeroed
// guard frame lies before frame 0 and three after the last, so that interpolators may read there without a
// bounds test. Frame 0 starts on a 16-byte boundary. The frames themselves are not initialised.
class SampleBuffer {
  public:
    static constexpr std::size_t kGuardBefore = 1;
    static constexpr std::size_t kGuardAfter = 3;

    // Reference count 1; nullptr when memory is exhausted. rate in Hz.
    static SampleBuffer* create(std::uint32_t frames, std::uint8_t channels, float rate) noexcept;
    // The bytes that create() allocates; 0 when the size does not fit.
    static std::size_t allocationSize(std::uint32_t frames, std::uint8_t channels);

    void addReference() noexcept { references_.fetch_add(1, std::memory_order_relaxed); }
    // Frees the block when the last reference goes.
    void release() noexcept;

    std::uint32_t references() const noexcept { return references_.load(std::memory_order_relaxed); }
    float* data() noexcept { return frame0_; }
    const float* data() const noexcept { return frame0_; }
    std::uint32_t frames() const noexcept { return frames_; }
    std::uint8_t channels() const noexcept { return channels_; }
    float rate() const noexcept { return rate_; }
    std::size_t sampleCount() const noexcept { return std::size_t{frames_} * channels_; }
    std::span<float> samples() noexcept { return {frame0_, sampleCount()}; }
    std::span<const float> samples() const noexcept { return {frame0_, sampleCount()}; }

    SampleBuffer(const SampleBuffer&) = delete;
    SampleBuffer& operator=(const SampleBuffer&) = delete;

  private:
    SampleBuffer(float* frame0, std::uint32_t frames, std::uint8_t channels, float rate)
        : frame0_(frame0), frames_(frames), channels_(channels), rate_(rate) {}
    ~SampleBuffer() = default;

    std::atomic<std::uint32_t> references_{1};
    float* frame0_;
    std::uint32_t frames_;
    std::uint8_t channels_;
    float rate_;
};

// Owns one reference.
class SampleBufferRef {
  public:
    SampleBufferRef() = default;
    // Takes over the reference that SampleBuffer::create() returned.
    explicit SampleBufferRef(SampleBuffer* adopted) : buffer_(adopted) {}
    SampleBufferRef(const SampleBufferRef& other) : buffer_(other.buffer_) {
        if (buffer_)
            buffer_->addReference();
    }
    SampleBufferRef(SampleBufferRef&& other) noexcept : buffer_(std::exchange(other.buffer_, nullptr)) {}
    SampleBufferRef& operator=(SampleBufferRef other) noexcept {
        std::swap(buffer_, other.buffer_);
        return *this;
    }
    ~SampleBufferRef() {
        if (buffer_)
            buffer_->release();
    }

    SampleBuffer* get() const { return buffer_; }
    SampleBuffer* operator->() const { return buffer_; }
    explicit operator bool() const { return buffer_ != nullptr; }

  private:
    SampleBuffer* buffer_ = nullptr;
};

}  // namespace velor
