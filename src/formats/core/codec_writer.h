// Writing through the encoders of codecs that take 16-bit samples piece by piece.
#pragma once

#include <algorithm>
#include <span>

#include "formats/framework/file_image.h"
#include "formats/framework/frame_reader.h"
#include "formats/framework/open_file.h"

namespace velor {

// Encodes all frames of the waveform into `to`. `encoder.encode(samples, bytes)` gets pieces of whole units,
// the last one of any length, and as many bytes of `to` as `encoder.encodedSize(samples)` says. False with
// LastErrorText.
template <typename Encoder>
bool encodeCodes(Waveform& waveform, int channels, std::span<Byte> to, UserInterface& ui, Encoder encoder) {
    return feed16(waveform, channels, ui, [&](std::span<const std::int16_t> samples) {
        const std::size_t size =
            std::min(static_cast<std::size_t>(encoder.encodedSize(samples.size())), to.size());
        encoder.encode(samples, to.first(size));
        to = to.subspan(size);
    });
}

// Writes a file that holds nothing but the codes of one channel.
template <typename Encoder>
bool writeCodes(Waveform& waveform, OpenFile& file, Encoder encoder) {
    FileImage image;
    return settleFrameCount(waveform) && image.allocate(encoder.encodedSize(waveform.frames)) &&
           encodeCodes(waveform, 1, image.bytes(), *file.ui, std::move(encoder)) && file.write(image.bytes());
}

}  // namespace velor
