// The open file record that every reader and writer gets.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "base/user_interface.h"
#include "items/sample_encoding.h"
#include "platform/file.h"

namespace velor {

// What a writer is asked to do beyond the item itself.
struct SaveOptions {
    // Encodings the row allows (bits 0-19), the row's channel bits, and the row's variant argument.
    std::uint32_t flags = 0;
    std::uint32_t variant = 0;
    // The user's choices; the defaults leave the choice to the row and the waveform.
    SampleEncoding encoding = SampleEncoding::None;
    int channels = 0;        // 1 or 2
    std::uint32_t rate = 0;  // Hz
    double quality = -1;     // value of one of the row's FormatOptions
};

struct OpenFile {
    // Reading: set. Shared, so that waveforms decoded later keep the file open.
    std::shared_ptr<File> input;
    // Writing: set. The pipeline commits or discards it.
    OutputFile* output = nullptr;
    // Full path of the file.
    std::filesystem::path path;
    // Index of the format-table row in use.
    int row = -1;
    // Never null while an operation runs.
    UserInterface* ui = nullptr;
    // Writing: the choices in force.
    SaveOptions save;

    std::uint64_t size() const { return input ? input->size() : 0; }
    bool read(std::uint64_t offset, std::span<Byte> to) const { return input->read(offset, to); }
    bool write(std::span<const Byte> bytes) const { return output->write(bytes); }
    // The file name without folders, UTF-8.
    std::string fileName() const { return utf8FromPath(path.filename()); }
    // The file name without its extension: what an item without a name of its own is called.
    std::string stem() const { return utf8FromPath(path.stem()); }
    void warn(std::string text, std::string place = {}, std::uint64_t offset = 0) const {
        ui->warn({std::move(text), std::move(place), offset});
    }
};

}  // namespace velor
