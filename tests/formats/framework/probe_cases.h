// Minimal files of most formats, and what identification must make of them.
#pragma once

#include <string_view>
#include <vector>

#include "formats/core/chunk_builder.h"
#include "formats/framework/format_table.h"

namespace velor::test {

struct ProbeCase {
    ProbeCase(std::string_view name, int ofRow, int points, Bytes bytes, std::uint64_t size = 0,
              int bare = -1)
        : extension(name), row(ofRow), score(points), file(std::move(bytes)), fileSize(size), bareRow(bare) {}
    // Under the row's own extension.
    ProbeCase(int ofRow, int points, Bytes bytes, int bare = -1, std::uint64_t size = 0)
        : ProbeCase(rowExtension(ofRow), ofRow, points, std::move(bytes), size, bare) {}

    std::string_view extension;
    int row;    // with that extension
    int score;  // 6, 4 or 2, before the bonus of the extension
    Bytes file;
    std::uint64_t fileSize;  // of the whole file; 0: as long as `file`
    int bareRow;             // under an unknown extension; -1: a signature gives the same row
};

std::vector<ProbeCase> mediaCases();  // waveforms, streams, modules and songs
std::vector<ProbeCase> samplerCases();
std::vector<ProbeCase> bankCases();
std::vector<ProbeCase> softwareCases();
std::vector<ProbeCase> diskCases();
std::vector<ProbeCase> voiceCases();

}  // namespace velor::test
