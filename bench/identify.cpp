// How many files a second the format table can name. Folders of a hundred thousand samples are ordinary, and
// each file asks every row that can read.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "formats/framework/format_table.h"

namespace velor {
namespace {

struct Sample {
    std::string name;
    std::vector<Byte> head;
};

// Something of everything: forms, chunks, streams without a signature, texts, and what nothing recognises.
std::vector<Sample> mixedFiles() {
    using namespace std::string_view_literals;
    std::mt19937 random(1);
    std::vector<Sample> files;
    const auto add = [&](const char* name, std::string_view start, std::size_t at = 0) {
        Sample sample{name, std::vector<Byte>(kProbeBytes)};
        for (std::size_t i = 0; i < sample.head.size(); ++i)
            sample.head[i] =
                static_cast<Byte>(128 + std::lround(60 * std::sin(0.05 * static_cast<double>(i))));
        std::memcpy(sample.head.data() + at, start.data(), start.size());
        files.push_back(std::move(sample));
    };
    add("a.wav", "RIFF\x24\x80\0\0WAVEfmt \x10\0\0\0\x01\0\x01\0"sv);
    add("b.aif", "FORM\0\0\x80\0AIFFCOMM\0\0\0\x12"sv);
    add("c.au", ".snd\0\0\0\x18\0\0\x80\0\0\0\0\x03"sv);
    add("d.sf2", "RIFF\x24\x80\0\0sfbkLIST"sv);
    add("e.flac", "fLaC\0\0\0\x22"sv);
    add("f.ogg", "OggS\0\x02\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\x01\x1E\x01vorbis"sv);
    add("g.mp3", "\xFF\xFB\x90\x64"sv);
    add("h.m4a",
        "\0\0\0\x20"
        "ftypM4A \0\0\x02\0"sv);
    add("i.mid", "MThd\0\0\0\x06\0\x01\0\x04\0\x60"sv);
    add("j.xm", "Extended Module: song"sv);
    add("k.mod", "M.K."sv, 1080);
    add("l.it", "IMPM"sv);
    add("m.s3m", "SCRM"sv, 44);
    add("n.voc", "Creative Voice File\x1A"sv);
    add("o.sfz", "<group>\nlokey=1\n<region>\nsample=a.wav\n"sv);
    add("p.txt", "Song:d=4,o=5,b=100:8c,8e,8g"sv);
    add("q.raw", ""sv);
    add("r.bin", ""sv);
    add("no extension", "plain text that is nothing in particular"sv);
    files.push_back({"noise.dat", std::vector<Byte>(kProbeBytes)});
    for (Byte& byte : files.back().head)
        byte = static_cast<Byte>(random());
    files.push_back({"zeros.img", std::vector<Byte>(kProbeBytes)});
    return files;
}

void identify(benchmark::State& state) {
    const std::vector<Sample> files = mixedFiles();
    std::size_t done = 0;
    for (auto _ : state) {
        for (const Sample& file : files)
            benchmark::DoNotOptimize(identifyBytes(file.name, file.head, file.head.size()));
        done += files.size();
    }
    state.counters["files"] = benchmark::Counter(static_cast<double>(done), benchmark::Counter::kIsRate);
}
BENCHMARK(identify);

// One kind of file at a time, to find the probe that costs.
void identifyOne(benchmark::State& state) {
    const std::vector<Sample> files = mixedFiles();
    const Sample& file = files[static_cast<std::size_t>(state.range(0)) % files.size()];
    for (auto _ : state)
        benchmark::DoNotOptimize(identifyBytes(file.name, file.head, file.head.size()));
    state.SetLabel(file.name);
}
BENCHMARK(identifyOne)->DenseRange(0, 20);

}  // namespace
}  // namespace velor
