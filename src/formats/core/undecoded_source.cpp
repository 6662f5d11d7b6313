#include "formats/core/undecoded_source.h"

#include <string>

#include "base/error.h"

namespace velor {

namespace {

class UndecodedSource final : public WaveformSource {
  public:
    explicit UndecodedSource(std::string_view codec) : codec_(codec) {}

    bool decode(Waveform&) const override {
        return fail("Decoding " + std::string(codec_) + " is not supported in this build");
    }

  private:
    std::string_view codec_;
};

}  // namespace

std::shared_ptr<const WaveformSource> undecodedSource(std::string_view codec) {
    return std::make_shared<UndecodedSource>(codec);
}

}  // namespace velor
