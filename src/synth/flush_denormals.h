// Keeps dying filters and reverbs from slowing the processor down: for the life of the object, results too
// small for a normal float become 0 on this thread.
#pragma once

#if defined(__SSE__)
#include <immintrin.h>
#endif

namespace velor {

class FlushDenormals {
  public:
#if defined(__SSE__)
    FlushDenormals() : before_(_mm_getcsr()) {
        _mm_setcsr(before_ | 0x8040);
    }
    ~FlushDenormals() {
        _mm_setcsr(before_);
    }
    FlushDenormals(const FlushDenormals&) = delete;
    FlushDenormals& operator=(const FlushDenormals&) = delete;

  private:
    unsigned before_;
#else
    FlushDenormals() {}
#endif
};

}  // namespace velor
