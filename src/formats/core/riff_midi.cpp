#include "formats/core/riff_midi.h"

#include <algorithm>
#include <array>
#include <vector>

#include "base/byte_reader.h"
#include "base/byte_writer.h"
#include "base/error.h"
#include "formats/core/midi_file.h"

namespace velor {

namespace {

constexpr std::uint64_t kChunkHeader = 8;
constexpr std::uint64_t kFormHeader = 12;
constexpr std::uint32_t kMostChunks = 1u << 20;
constexpr int kMostLevels = 8;                // of lists in lists
constexpr std::uint64_t kMostName = 128;      // bytes of a "DISP" text
constexpr std::uint64_t kMostText = 0x10000;  // bytes of a text that is taken over
constexpr std::string_view kSoftware = "Velor Studio v12.6";

// The instruments that a song brings along, a RIFF form "DLS " at `offset`. The one place that knows how they
// are read.
bool readInstruments(Collection&, OpenFile& file, std::uint64_t offset, std::uint64_t) {
    file.warn("The DLS instruments inside the file are not read in this build", "DLS ", offset);
    return true;
}

// ---- Reading ----

class RiffMidiReader {
  public:
    RiffMidiReader(Collection& collection, OpenFile& file) : collection_(collection), file_(file) {}

    bool read() {
        const Chunk form = chunkAt(0, file_.size());
        if (form.id != fourCc("RIFF") || form.type != fourCc("RMID"))
            return fail("Not a RIFF-RMID file");
        // Some writers left the size 0.
        const std::uint64_t end = form.size <= 4 ? file_.size() : form.end;
        if (!walk(kFormHeader, end, 0) || !walkBehind(end + (end & 1)))
            return false;
        return song_ || fail("Invalid or corrupt Midi file");
    }

  private:
    struct Chunk {
        std::uint32_t id = 0;
        std::uint32_t size = 0;  // as stored
        std::uint32_t type = 0;  // of a form or list: the four bytes behind the size
        std::uint64_t start = 0;
        std::uint64_t payload = 0;
        std::uint64_t end = 0;  // of the payload, within the limit
    };

    Chunk chunkAt(std::uint64_t offset, std::uint64_t limit) const {
        Chunk chunk;
        if (offset > limit || limit - offset < kChunkHeader)
            return chunk;
        std::array<Byte, kFormHeader> head{};
        const std::size_t there = file_.input->readSome(offset, head);
        ByteReader reader(std::span<const Byte>(head).first(there));
        chunk.id = reader.id();
        chunk.size = reader.u32();
        chunk.type = reader.id();
        chunk.start = offset;
        chunk.payload = offset + kChunkHeader;
        chunk.end = chunk.payload + std::min<std::uint64_t>(chunk.size, limit - chunk.payload);
        return chunk;
    }

    bool walk(std::uint64_t offset, std::uint64_t end, int level) {
        while (offset < end && end - offset >= kChunkHeader) {
            if (++chunks_ > kMostChunks)
                return fail("The RIFF-MIDI file has too many chunks");
            const Chunk chunk = chunkAt(offset, end);
            if (!readChunk(chunk, level))
                return false;
            offset = chunk.end;
            if ((chunk.end - chunk.payload) % 2 && !lacksPad(offset, end))
                ++offset;
        }
        return true;
    }

    // True when the chunk that should begin behind a pad byte begins right here: some writers leave the pad
    // byte out.
    bool lacksPad(std::uint64_t offset, std::uint64_t end) const {
        const std::uint32_t id = chunkAt(offset, end).id;
        return id == fourCc("LIST") || id == fourCc("DISP") || id == fourCc("RIFF");
    }

    // Some writers append the instruments without counting them in the size of the form.
    bool walkBehind(std::uint64_t offset) {
        const Chunk chunk = chunkAt(offset, file_.size());
        return chunk.id != fourCc("RIFF") || readChunk(chunk, 0);
    }

    bool readChunk(const Chunk& chunk, int level) {
        switch (chunk.id) {
            case fourCc("data"):
                return readSong(chunk);
            case fourCc("LIST"):
                return level >= kMostLevels || chunk.end < chunk.start + kFormHeader ||
                       walk(chunk.start + kFormHeader, chunk.end, level + 1);
            case fourCc("RIFF"):
                if (chunk.type == fourCc("DLS "))
                    return readInstruments(collection_, file_, chunk.start, chunk.end - chunk.start);
                if (chunk.type == fourCc("sfbk"))
                    file_.warn("The SoundFont bank inside the file is not read in this build", "sfbk",
                               chunk.start);
                return true;
            case fourCc("DISP"):
                if (song_ && chunk.type == 1)
                    setName(textAt(chunk.payload + 4, chunk.end, kMostName));
                return true;
            case fourCc("INAM"):
                if (song_)
                    setName(textAt(chunk.payload, chunk.end, kMostText));
                return true;
            default:
                if (song_)
                    readText(chunk);
                return true;
        }
    }

    bool readSong(const Chunk& chunk) {
        if (song_) {
            file_.warn("Warning: more than one song in the file - only the first is read", "data",
                       chunk.start);
            return true;
        }
        if (chunk.end - chunk.payload < chunk.size)
            file_.warn("Warning: data chunk truncated - will read what data there is", "data", chunk.start);
        song_ = readMidiPart(collection_, file_, chunk.payload, chunk.end - chunk.payload);
        return song_ != nullptr;
    }

    void readText(const Chunk& chunk) {
        std::string* text = nullptr;
        switch (chunk.id) {
            case fourCc("IART"):
                text = &song_->artist;
                break;
            case fourCc("ICMT"):
                text = &song_->comment;
                break;
            case fourCc("ICOP"):
                text = &song_->copyright;
                break;
            case fourCc("IENG"):
                text = &song_->engineer;
                break;
            case fourCc("IPRD"):
                text = &song_->product;
                break;
            default:
                return;
        }
        *text = textAt(chunk.payload, chunk.end, kMostText);
    }

    // Up to the first zero.
    std::string textAt(std::uint64_t offset, std::uint64_t end, std::uint64_t most) const {
        std::vector<Byte> bytes(static_cast<std::size_t>(end > offset ? std::min(end - offset, most) : 0));
        bytes.resize(file_.input->readSome(offset, bytes));
        return ByteReader(bytes).text(bytes.size());
    }

    void setName(const std::string& name) {
        if (!name.empty())
            song_->setName(name);
    }

    Collection& collection_;
    OpenFile& file_;
    MidiSong* song_ = nullptr;
    std::uint32_t chunks_ = 0;
};

// ---- Writing ----

struct InfoText {
    std::uint32_t id;
    std::string_view text;

    // With a terminating zero, rounded up to an even size.
    std::size_t size() const { return (text.size() + 2) & ~std::size_t{1}; }
};

std::vector<Byte> infoList(const MidiSong& song) {
    const InfoText all[] = {{fourCc("IART"), song.artist},    {fourCc("ICMT"), song.comment},
                            {fourCc("ICOP"), song.copyright}, {fourCc("IENG"), song.engineer},
                            {fourCc("INAM"), song.name()},    {fourCc("IPRD"), song.product},
                            {fourCc("ISFT"), kSoftware}};
    std::size_t size = kFormHeader;
    for (const InfoText& each : all)
        size += each.text.empty() ? 0 : kChunkHeader + each.size();
    std::vector<Byte> list(size);
    ByteWriter to(list);
    to.id(fourCc("LIST"));
    to.u32(static_cast<std::uint32_t>(size - kChunkHeader));
    to.id(fourCc("INFO"));
    for (const InfoText& each : all) {
        if (each.text.empty())
            continue;
        to.id(each.id);
        to.u32(static_cast<std::uint32_t>(each.size()));
        to.text(each.text, each.size());
    }
    return list;
}

}  // namespace

bool readRiffMidi(Collection& collection, OpenFile& file, std::uint32_t) {
    return RiffMidiReader(collection, file).read();
}

bool writeRiffMidi(Item& item, OpenFile& file, std::uint32_t) {
    const MidiSong* song = songToWrite(item);
    if (!song)
        return fail(kCannotSaveItem);
    const std::uint64_t songSize = midiImageSize(*song);
    if (songSize == 0)
        return false;
    const std::vector<Byte> info = infoList(*song);
    const std::uint64_t padded = songSize + (songSize & 1);
    const std::uint64_t riffSize = 4 + kChunkHeader + padded + info.size();
    if (riffSize > UINT32_MAX)
        return fail("The song is too long for a RIFF-MIDI file, which can hold 4 GiB at most");
    std::array<Byte, kFormHeader + kChunkHeader> header{};
    ByteWriter to(header);
    to.id(fourCc("RIFF"));
    to.u32(static_cast<std::uint32_t>(riffSize));
    to.id(fourCc("RMID"));
    to.id(fourCc("data"));
    to.u32(static_cast<std::uint32_t>(songSize));
    if (!file.write(header) || !writeMidiImage(*song, file))
        return false;
    const std::array<Byte, 1> pad{};
    return (songSize == padded || file.write(pad)) && file.write(info);
}

}  // namespace velor
