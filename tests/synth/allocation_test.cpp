// Rendering allocates nothing: every allocation of this program is counted while it is watched.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "base/error.h"
#include "synth_fixture.h"

namespace {

std::atomic<bool> Watched{false};
std::atomic<long> Allocations{0};

}  // namespace

// g++ takes free() for the wrong end of these operators once it has inlined one of a pair.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

// The sanitizers bring operators of their own.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
static void* allocate(std::size_t size) {
    if (Watched.load(std::memory_order_relaxed))
        ++Allocations;
    return std::malloc(size ? size : 1);
}

void* operator new(std::size_t size) {
    if (void* memory = allocate(size))
        return memory;
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) {
    return operator new(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return allocate(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}
#endif

namespace velor {
namespace {

TEST(SynthAllocation, RenderingAllocatesNothing) {
    SynthFixture items;
    Instrument& instrument = items.instrument();
    for (int i = 0; i < 3; ++i) {
        Region& region = items.region(instrument, items.sine(55 + i));
        region.articulation.set(parameter::FilterTypeCode, static_cast<float>(i + 1));
        region.articulation.set(parameter::FLfoToCutoff, 12);
        region.articulation.set(parameter::XLfoToPan, 0.5f);
    }
    SynthEngine engine(32, 64, kTestRate, 0, {2, true, true});
    ASSERT_TRUE(engine.loadInstrument(instrument, false));
    ASSERT_TRUE(engine.loadInstrument(items.instrument(PatchNumber(3, 0, 0, false)), true));
    float out[2 * kBlockFrames];
    std::uint32_t random = 1;
    Watched = true;
    ::operator delete(::operator new(4));  // proves that counting works
    const long counted = Allocations.exchange(0);
    for (int block = 0; block < 3000; ++block) {
        for (int i = 0; i < 3; ++i) {
            random = random * 1664525u + 1013904223u;
            const unsigned key = random >> 25;
            const unsigned status = block % 7 == 0    ? 0xB0
                                    : block % 3 == 0  ? 0x80
                                    : block % 50 == 1 ? 0xC0
                                                      : 0x90;
            engine.queueEvent(MidiMessage(status | (random >> 20 & 15), key, random >> 10 & 127, random & 1),
                              0);
        }
        engine.renderBlock(out);
    }
    Watched = false;
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    EXPECT_EQ(counted, 1);
#else
    (void)counted;
#endif
    EXPECT_EQ(Allocations, 0);
}

}  // namespace
}  // namespace velor
