// Builds chunk files byte by byte, apart from the code under test.
#pragma once

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "base/byte_order.h"
#include "test_tools.h"

namespace velor::test {

// Bytes under construction, appended or, where a place comes first, put there; writing past the end makes
// them longer.
class Bytes {
  public:
    std::vector<Byte> data;

    Bytes() = default;
    explicit Bytes(std::size_t size, unsigned value = 0) : data(size, static_cast<Byte>(value)) {}

    Bytes& u8(unsigned value) { return u8(size(), value); }
    Bytes& u16(unsigned value) { return u16(size(), value); }
    Bytes& u32(std::uint64_t value) { return u32(size(), value); }
    Bytes& be16(unsigned value) { return be16(size(), value); }
    Bytes& be32(std::uint64_t value) { return be32(size(), value); }
    Bytes& text(std::string_view value) { return text(size(), value); }
    Bytes& zeros(std::size_t count) { return fill(count, 0); }
    Bytes& fill(std::size_t count, unsigned value) { return fill(size(), count, value); }
    Bytes& add(const Bytes& other) { return add(other.data); }
    Bytes& add(const std::vector<Byte>& other) {
        data.insert(data.end(), other.begin(), other.end());
        return *this;
    }

    Bytes& u8(std::size_t at, unsigned value) { return number(at, value, 1, false); }
    Bytes& u16(std::size_t at, unsigned value) { return number(at, value, 2, false); }
    Bytes& u32(std::size_t at, std::uint64_t value) { return number(at, value, 4, false); }
    Bytes& be16(std::size_t at, unsigned value) { return number(at, value, 2, true); }
    Bytes& be32(std::size_t at, std::uint64_t value) { return number(at, value, 4, true); }
    Bytes& text(std::size_t at, std::string_view value) {
        std::ranges::copy(value, room(at, value.size()));
        return *this;
    }
    Bytes& fill(std::size_t at, std::size_t count, unsigned value) {
        std::fill_n(room(at, count), count, static_cast<Byte>(value));
        return *this;
    }
    Bytes& resize(std::size_t size) {
        data.resize(size);
        return *this;
    }
    std::size_t size() const { return data.size(); }

  private:
    std::vector<Byte>::iterator room(std::size_t at, std::size_t count) {
        data.resize(std::max(data.size(), at + count));
        return data.begin() + static_cast<std::ptrdiff_t>(at);
    }
    Bytes& number(std::size_t at, std::uint64_t value, int bytes, bool big) {
        const auto to = room(at, static_cast<std::size_t>(bytes));
        for (int i = 0; i < bytes; ++i)
            to[i] = static_cast<Byte>(value >> (8 * (big ? bytes - 1 - i : i)));
        return *this;
    }
};

// A RIFF chunk with its pad byte; `pad` is the value of that byte.
inline Bytes chunk(const std::string& id, const Bytes& payload, unsigned pad = 0) {
    Bytes bytes;
    bytes.text(id).u32(payload.size()).add(payload);
    if (payload.size() % 2)
        bytes.u8(pad);
    return bytes;
}
// The same for IFF.
inline Bytes iffChunk(const std::string& id, const Bytes& payload) {
    Bytes bytes;
    bytes.text(id).be32(payload.size()).add(payload);
    if (payload.size() % 2)
        bytes.u8(0);
    return bytes;
}
inline Bytes form(const std::string& id, const std::string& type, std::initializer_list<Bytes> chunks,
                  bool big = false) {
    Bytes content;
    content.text(type);
    for (const Bytes& each : chunks)
        content.add(each);
    return big ? iffChunk(id, content) : chunk(id, content);
}
inline Bytes riff(const std::string& type, std::initializer_list<Bytes> chunks) {
    return form("RIFF", type, chunks);
}
inline Bytes riff(std::initializer_list<Bytes> chunks) {
    return riff("WAVE", chunks);
}
inline Bytes iff(const std::string& type, std::initializer_list<Bytes> chunks) {
    return form("FORM", type, chunks, true);
}
inline Bytes list(const std::string& type, std::initializer_list<Bytes> chunks) {
    return form("LIST", type, chunks);
}

// Parts of AIFF files, 44100 Hz; a compression type makes them those of AIFC.
inline Bytes aiff(std::initializer_list<Bytes> chunks, const std::string& type = "AIFF") {
    return iff(type, chunks);
}
inline Bytes comm(unsigned channels, std::uint64_t frames, unsigned bits, const std::string& type = {},
                  const std::string& name = {}) {
    Bytes bytes = Bytes().be16(channels).be32(frames).be16(bits).be16(0x400E).be32(0xAC440000).be32(0);
    if (!type.empty()) {
        bytes.text(type).u8(static_cast<unsigned>(name.size())).text(name);
        bytes.zeros((name.size() + 1) % 2);
    }
    return iffChunk("COMM", bytes);
}
inline Bytes ssnd(const Bytes& data, std::uint32_t offset = 0) {
    return iffChunk("SSND", Bytes().be32(offset).be32(0).zeros(offset).add(data));
}

inline Bytes fmtPayload(unsigned tag, unsigned channels, unsigned rate, unsigned bits,
                        unsigned blockAlign = 0, unsigned bytesPerSecond = 0) {
    if (blockAlign == 0)
        blockAlign = channels * ((bits + 7) / 8);
    if (bytesPerSecond == 0)
        bytesPerSecond = rate * blockAlign;
    return Bytes().u16(tag).u16(channels).u32(rate).u32(bytesPerSecond).u16(blockAlign).u16(bits);
}
inline Bytes fmt(unsigned tag, unsigned channels, unsigned rate, unsigned bits) {
    return chunk("fmt ", fmtPayload(tag, channels, rate, bits));
}
inline Bytes extensibleFmt(unsigned tag, unsigned channels, unsigned rate, unsigned container, unsigned valid,
                           unsigned mask) {
    return chunk("fmt ", fmtPayload(0xFFFE, channels, rate, container)
                             .u16(22)
                             .u16(valid)
                             .u32(mask)
                             .u16(tag)
                             .u32(0)
                             .be32(0x10008000)
                             .be32(0x00AA0038)
                             .be16(0x9B71));
}
struct SamplerLoop {
    std::uint32_t type, start, end, fraction;
};
inline Bytes smplPayload(std::uint32_t unity, std::uint32_t fraction,
                         std::initializer_list<SamplerLoop> loops, std::uint32_t rate = 0,
                         std::uint32_t samplerData = 0) {
    Bytes bytes;
    bytes.zeros(8).u32(rate ? (1000000000u + rate / 2) / rate : 0).u32(unity).u32(fraction).zeros(8);
    bytes.u32(loops.size()).u32(samplerData);
    for (const SamplerLoop& loop : loops)
        bytes.u32(0).u32(loop.type).u32(loop.start).u32(loop.end).u32(loop.fraction).u32(0);
    return bytes;
}
// For a wave of a bank; loopType below 0: no loop.
inline Bytes waveSampleChunk(unsigned key, int fineTune, double gain, int loopType = -1, unsigned start = 0,
                             unsigned length = 0) {
    Bytes bytes;
    bytes.u32(20).u16(key).u16(static_cast<unsigned>(fineTune) & 0xFFFF);
    bytes.u32(static_cast<std::uint32_t>(static_cast<std::int32_t>(gain * 655360))).u32(0);
    bytes.u32(loopType < 0 ? 0 : 1);
    if (loopType >= 0)
        bytes.u32(16).u32(static_cast<unsigned>(loopType)).u32(start).u32(length);
    return chunk("wsmp", bytes);
}

inline Bytes cue(std::initializer_list<std::pair<std::uint32_t, std::uint32_t>> points) {
    Bytes bytes;
    bytes.u32(points.size());
    for (const auto& [id, position] : points)
        bytes.u32(id).u32(position).text("data").zeros(8).u32(position);
    return chunk("cue ", bytes);
}
inline Bytes label(std::uint32_t id, const std::string& text) {
    return chunk("labl", Bytes().u32(id).text(text).u8(0));
}
inline Bytes regionText(std::uint32_t id, std::uint32_t length, const std::string& purpose) {
    return chunk("ltxt", Bytes().u32(id).u32(length).text(purpose).zeros(8));
}

inline std::vector<std::int16_t> samples16(const std::vector<Byte>& bytes, std::size_t at = 0) {
    std::vector<std::int16_t> samples;
    for (; at + 2 <= bytes.size(); at += 2)
        samples.push_back(loadLe<std::int16_t>(bytes.data() + at));
    return samples;
}
inline std::vector<Byte> bytes16(const std::vector<std::int16_t>& samples) {
    std::vector<Byte> bytes(samples.size() * 2);
    for (std::size_t i = 0; i < samples.size(); ++i)
        storeLe(bytes.data() + 2 * i, samples[i]);
    return bytes;
}
inline std::vector<Byte> randomBytes(std::size_t count, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<Byte> bytes(count);
    for (Byte& byte : bytes)
        byte = static_cast<Byte>(random() >> 8);
    return bytes;
}

// Replaces a file's content in place, for tests that do so thousands of times: truncating a file to nothing
// and writing it again waits for the disk on some file systems. Windows allows that only while nobody has the
// file open, so there it becomes a new file each time.
inline void rewriteFile(const std::filesystem::path& path, const Bytes& bytes) {
#ifdef _WIN32
    writeFile(path, bytes.data);
    return;
#endif
    if (!std::filesystem::exists(path))
        std::ofstream(path, std::ios::binary).put('x');
    std::fstream(path, std::ios::binary | std::ios::in | std::ios::out)
        .write(reinterpret_cast<const char*>(bytes.data.data()), static_cast<std::streamsize>(bytes.size()));
    if (std::filesystem::file_size(path) != bytes.size())
        std::filesystem::resize_file(path, bytes.size());
}

}  // namespace velor::test
