// Opening banks: reading the lists, making the items, and all that follows a load. The banks are those of
// Debian's packages; without them there is nothing to measure.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <string>

#include "base/error.h"
#include "formats/framework/pipeline.h"

namespace velor {
namespace {

void openBank(benchmark::State& state, const char* name) {
    const std::string path = "/usr/share/sounds/" + std::string(name);
    if (!std::filesystem::exists(path)) {
        state.SkipWithError("this bank is not installed");
        return;
    }
    UserInterface quiet;
    PipelineServices services;
    services.ui = &quiet;
    std::uint32_t regions = 0;
    for (auto _ : state) {
        Collection collection;
        if (!openFile(collection, path, false, services)) {
            state.SkipWithError(LastErrorText.c_str());
            return;
        }
        regions = collection.count(ItemKind::Region);
    }
    state.counters["regions"] = regions;
}

BENCHMARK_CAPTURE(openBank, TimGM6mb, "sf2/TimGM6mb.sf2")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(openBank, FluidR3_GM, "sf2/FluidR3_GM.sf2")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(openBank, OPL3, "sf2/OPL-3_FM_128M.sf2")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(openBank, compressed, "sf3/MuseScore_General.sf3")->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace velor
