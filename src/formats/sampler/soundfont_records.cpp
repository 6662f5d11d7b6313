#include "formats/sampler/soundfont_records.h"

#include <algorithm>
#include <map>

#include "base/error.h"
#include "formats/sampler/riff_chunks.h"

namespace velor {

namespace {

constexpr std::size_t kPresetHeader = 38, kInstrumentHeader = 22, kSampleHeader = 46;
constexpr std::size_t kBag = 4, kGenerator = 4, kModulator = 10, kName = 20;

using Lists = std::map<std::uint32_t, std::span<const Byte>>;

// The chunks of the record list, which is in memory as a whole.
Lists listsOf(std::span<const Byte> bytes) {
    Lists lists;
    ByteReader reader(bytes);
    while (reader.remaining() >= 8) {
        const std::uint32_t id = reader.id();
        const std::uint32_t size = reader.u32();
        lists.emplace(id, reader.bytes(std::min<std::size_t>(size, reader.remaining())));
        if (size & 1)
            reader.skip(std::min<std::size_t>(1, reader.remaining()));
    }
    return lists;
}

std::vector<SoundFontModulator> modulatorsOf(std::span<const Byte> bytes) {
    std::vector<SoundFontModulator> modulators(bytes.size() / kModulator);
    ByteReader reader(bytes);
    for (SoundFontModulator& each : modulators) {
        each.source = reader.u16();
        each.destination = reader.u16();
        each.amount = reader.s16();
        each.amountSource = reader.u16();
        each.transform = reader.u16();
    }
    return modulators;
}

// Turns the start indices of consecutive records into ranges. An index counts only when it goes on where the
// ranges before it ended, so every record belongs to one owner whatever a file says.
class Runs {
  public:
    explicit Runs(std::size_t size) : size_(static_cast<std::uint32_t>(size)) {}

    SoundFontRange take(std::uint32_t begin, std::uint32_t end) {
        const bool sound = begin >= taken_ && begin <= end && end <= size_;
        broken_ = broken_ || !sound;
        begin = std::clamp(begin, taken_, size_);
        end = std::clamp(end, begin, size_);
        taken_ = end;
        return {begin, end};
    }
    bool broken() const { return broken_; }

  private:
    std::uint32_t size_;
    std::uint32_t taken_ = 0;
    bool broken_ = false;
};

// Lists of a level by their ids; `headerSize` tells presets and instruments apart.
struct LevelIds {
    std::uint32_t headers, bags, modulators, generators;
    std::size_t headerSize;
};
constexpr LevelIds kPresetIds{fourCc("phdr"), fourCc("pbag"), fourCc("pmod"), fourCc("pgen"), kPresetHeader};
constexpr LevelIds kInstrumentIds{fourCc("inst"), fourCc("ibag"), fourCc("imod"), fourCc("igen"),
                                  kInstrumentHeader};

// False when a list is missing or an index is wrong; the level then holds what can be used.
bool readLevel(Lists& lists, const LevelIds& ids, SoundFontLevel& level) {
    const auto& headerBytes = lists[ids.headers];
    const auto& bagBytes = lists[ids.bags];
    const auto& generatorBytes = lists[ids.generators];
    level.modulators = modulatorsOf(lists[ids.modulators]);
    level.generators.resize(generatorBytes.size() / kGenerator);
    ByteReader generators(generatorBytes);
    for (SoundFontGenerator& each : level.generators) {
        each.number = generators.u16();
        each.amount = generators.u16();
    }

    // The last record of each list is there for its indices only.
    const std::size_t bags = bagBytes.size() / kBag;
    level.zones.resize(bags > 0 ? bags - 1 : 0);
    ByteReader bag(bagBytes);
    Runs generatorRuns(level.generators.size()), modulatorRuns(level.modulators.size());
    std::uint32_t generator = bag.u16(), modulator = bag.u16();
    for (SoundFontZone& zone : level.zones) {
        const std::uint32_t nextGenerator = bag.u16(), nextModulator = bag.u16();
        zone.generators = generatorRuns.take(generator, nextGenerator);
        zone.modulators = modulatorRuns.take(modulator, nextModulator);
        generator = nextGenerator;
        modulator = nextModulator;
    }

    const std::size_t headers = headerBytes.size() / ids.headerSize;
    level.headers.resize(headers > 0 ? headers - 1 : 0);
    ByteReader reader(headerBytes);
    Runs zoneRuns(level.zones.size());
    std::uint32_t firstZone = 0;
    SoundFontLevel::Header last;
    const auto read = [&](SoundFontLevel::Header& header) {
        header.name = reader.text(kName);
        if (ids.headerSize == kPresetHeader) {
            header.program = reader.u16();
            header.bank = reader.u16();
        }
        const std::uint32_t zone = reader.u16();
        if (ids.headerSize == kPresetHeader)
            reader.skip(12);  // library, genre, morphology
        return zone;
    };
    if (headers > 0) {
        firstZone = read(level.headers.empty() ? last : level.headers.front());
        for (std::size_t i = 0; i < level.headers.size(); ++i) {
            const std::uint32_t next = read(i + 1 < level.headers.size() ? level.headers[i + 1] : last);
            level.headers[i].zones = zoneRuns.take(firstZone, next);
            firstZone = next;
        }
    }
    return !generatorRuns.broken() && !modulatorRuns.broken() && !zoneRuns.broken();
}

void readSamples(std::span<const Byte> bytes, std::vector<SoundFontSample>& samples) {
    samples.resize(bytes.size() / kSampleHeader);
    ByteReader reader(bytes);
    for (SoundFontSample& sample : samples) {
        sample.name = reader.text(kName);
        sample.start = reader.u32();
        sample.end = reader.u32();
        sample.loopStart = reader.u32();
        sample.loopEnd = reader.u32();
        sample.rate = reader.u32();
        const std::uint8_t key = reader.u8();
        sample.rootKey = key <= 127 ? key : std::uint8_t{60};  // 255: unpitched
        sample.correction = reader.s8();
        reader.skip(2);  // the other half of a stereo pair
        sample.type = reader.u16();
    }
    // The last record only ends the list. Some writers left it out.
    if (!samples.empty() && (samples.back().name == "EOS" || samples.back().end <= samples.back().start))
        samples.pop_back();
}

void readInfo(const File& file, const RiffChunk& list, SoundFontRecords& records) {
    constexpr std::size_t kMostModulators = 1000;
    RiffChunks chunks(file, list);
    RiffChunk chunk;
    while (chunks.next(chunk)) {
        if (chunk.id == fourCc("ifil")) {
            const auto bytes = readChunk(file, chunk, 4);
            records.majorVersion = bytes.size() >= 2 ? loadLe<std::uint16_t>(bytes.data()) : std::uint16_t{0};
        } else if (chunk.id == fourCc("INAM")) {
            records.name = readChunkText(file, chunk);
        } else if (chunk.id == fourCc("DMOD")) {
            records.defaultModulators = modulatorsOf(readChunk(file, chunk, kMostModulators * kModulator));
            if (!records.defaultModulators.empty())
                records.defaultModulators.pop_back();  // the end record
            records.hasDefaultModulators = true;
        }
    }
}

}  // namespace

bool readSoundFontRecords(const OpenFile& file, std::uint64_t begin, std::uint64_t end,
                          SoundFontRecords& records) {
    const File& input = *file.input;
    RiffChunks outer(input, begin, end);
    RiffChunk riff;
    if (!outer.next(riff) || riff.id != fourCc("RIFF") || riff.form != fourCc("sfbk"))
        return fail("Not a SoundFont bank");
    RiffChunks chunks(input, riff);
    RiffChunk chunk;
    std::vector<Byte> recordBytes;
    bool haveRecords = false;
    while (chunks.next(chunk)) {
        if (chunk.isList(fourCc("INFO"))) {
            readInfo(input, chunk, records);
        } else if (chunk.isList(fourCc("sdta"))) {
            RiffChunks parts(input, chunk);
            RiffChunk part;
            while (parts.next(part)) {
                if (part.id == fourCc("smpl")) {
                    records.samplePosition = part.payload;
                    records.sampleBytes = part.size();
                } else if (part.id == fourCc("sm24")) {
                    // One byte a point, and nothing else: a size that does not fit says that they are not
                    // the low bytes of these samples.
                    const std::uint64_t points = records.sampleBytes / 2;
                    records.has24Bits =
                        points > 0 && (part.size() == points || part.size() == points + (points & 1));
                    records.lowBytePosition = part.payload;
                }
            }
            if (parts.truncated())
                file.warn("The sample data are cut short - will read what there is", "smpl", chunk.start);
        } else if (chunk.isList(fourCc("pdta"))) {
            recordBytes = readChunk(input, chunk, static_cast<std::size_t>(chunk.size()));
            haveRecords = true;
        }
    }
    if (!haveRecords)
        return fail("The SoundFont bank has no presets and instruments: the file is cut short or damaged");
    Lists lists = listsOf(recordBytes);
    for (const std::uint32_t id : {fourCc("phdr"), fourCc("pbag"), fourCc("pgen"), fourCc("inst"),
                                   fourCc("ibag"), fourCc("igen"), fourCc("shdr")}) {
        if (!lists.contains(id))
            return fail("The SoundFont bank lacks one of its lists: the file is cut short or damaged");
    }
    const bool presetsSound = readLevel(lists, kPresetIds, records.presets);
    const bool instrumentsSound = readLevel(lists, kInstrumentIds, records.instruments);
    if (!presetsSound || !instrumentsSound)
        file.warn("The bank's lists have wrong indices - zones may be missing", "pdta");
    readSamples(lists[fourCc("shdr")], records.samples);
    return true;
}

}  // namespace velor
