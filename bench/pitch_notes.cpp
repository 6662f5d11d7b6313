// bench_pitch_notes BANK.sf2 FOLDER: writes the notes of a bank as WAVE files, and prints for each the pitch
// that the bank plays it at, the pitch detected, both in cents above MIDI key 0, and the CPU seconds the
// detection took. bench/pitch_peers.py compares that with a peer. Notes are those whose pitch a General MIDI
// program leaves no doubt about, at least half a second long: peers do not know of loops.
#include "../tests/dsp/real_notes.h"

#include <cmath>
#include <cstdio>
#include <ctime>

#include "base/error.h"
#include "dsp/pitch.h"
#include "formats/framework/format_table.h"
#include "formats/framework/pipeline.h"

int main(int argc, char** argv) {
    using namespace velor;
    if (argc == 1) {  // as tools/bench starts it among the others
        std::puts("bench_pitch_notes: measured by bench/pitch_peers.py");
        return 0;
    }
    if (argc != 3) {
        std::fputs("usage: bench_pitch_notes BANK.sf2 FOLDER\n", stderr);
        return 2;
    }
    const auto folder = std::filesystem::absolute(argv[2]);
    UserInterface quiet;
    PipelineServices services;
    services.ui = &quiet;
    int row = 0;
    while (row < kFormatRows && !(rowExtension(row) == "wav" && writerBuilt(row)))
        ++row;
    int number = 0;
    bool ok = true;
    const bool opened = test::visitRealNotes(
        std::filesystem::absolute(argv[1]).string(), [&](Waveform& waveform, double cents) {
            if (waveform.durationSeconds() < 0.5)
                return;
            DetectedPitch pitch;
            const std::clock_t before = std::clock();
            const bool found = detectPitch(waveform, pitch);
            const double seconds = static_cast<double>(std::clock() - before) / CLOCKS_PER_SEC;
            const double heard =
                found ? 1200 * std::log2(static_cast<double>(pitch.frequency) / kKeyZeroFrequency) : -1e6;
            const std::string name = formatText("%04d.wav", number++);
            ok = ok && row < kFormatRows && saveItem(&waveform, row, folder / name, services);
            std::printf("%s\t%.3f\t%.3f\t%.6f\t%s\n", name.c_str(), cents, heard, seconds,
                        waveform.name().c_str());
        });
    if (!opened || !ok)
        std::fprintf(stderr, "%s\n", LastErrorText.c_str());
    return opened && ok ? 0 : 1;
}
