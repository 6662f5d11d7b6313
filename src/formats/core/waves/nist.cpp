#include "formats/core/waves/nist.h"

#include <algorithm>
#include <map>

#include "base/error.h"
#include "base/text.h"
#include "formats/core/waves/shorten.h"
#include "formats/core/waves/wave_file.h"

namespace velor {

namespace {

constexpr std::size_t kFirstLines = 16;  // "NIST_1A" and the header's size, both with their line ends
constexpr std::size_t kSmallestHeader = 1024, kLargestHeader = 1u << 20;

using Fields = std::map<std::string, std::string, std::less<>>;

// Lines "name -i|-r|-sN value" up to "end_head"; comments begin with a semicolon.
Fields parseFields(std::string_view header) {
    Fields fields;
    for (std::string_view line : split(header, '\n')) {
        line = trim(line);
        if (line == "end_head")
            break;
        if (line.empty() || line.front() == ';')
            continue;
        const std::size_t name = line.find(' ');
        const std::size_t type = name == std::string_view::npos ? name : line.find(' ', name + 1);
        if (type != std::string_view::npos)
            fields.emplace(line.substr(0, name), trim(line.substr(type + 1)));
    }
    return fields;
}

class Header {
  public:
    explicit Header(Fields fields) : fields_(std::move(fields)) {}

    bool has(std::string_view name) const { return fields_.find(name) != fields_.end(); }
    std::string_view text(std::string_view name) const {
        const auto found = fields_.find(name);
        return found == fields_.end() ? std::string_view() : std::string_view(found->second);
    }
    double number(std::string_view name, double fallback) const {
        double value = fallback;
        return has(name) && parseNumber(text(name), value) ? value : fallback;
    }
    std::uint32_t count(std::string_view name, double fallback) const {
        return static_cast<std::uint32_t>(std::clamp(number(name, fallback), 0.0, 4294967295.0));
    }

  private:
    Fields fields_;
};

bool fillFromNist(OpenFile& file, Waveform& waveform) {
    const auto start = bytesAt(file, 0, kFirstLines);
    const std::string_view first(reinterpret_cast<const char*>(start.data()), start.size());
    if (!first.starts_with("NIST_1A\n"))
        return fail("Not a NIST SPHERE file");
    long long size = 0;
    if (!parseInteger(trim(first.substr(8)), size) || size < static_cast<long long>(kFirstLines))
        size = kSmallestHeader;
    const auto headerSize = std::min(static_cast<std::size_t>(size), kLargestHeader);
    const auto bytes = bytesAt(file, 0, headerSize);
    const Header header(
        parseFields(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size())));

    const std::string_view coding = header.has("sample_coding") ? header.text("sample_coding") : "pcm";
    const std::string_view plain = coding.substr(0, coding.find(','));
    StoredWave stored;
    stored.channels = header.count("channel_count", 1);
    stored.rate = header.number("sample_rate", 0);
    stored.position = static_cast<std::uint64_t>(size);
    stored.frames = header.has("sample_count") ? header.count("sample_count", 0) : kToFileEnd;
    if (plain == "ulaw" || plain == "mu-law") {
        stored.layout.encoding = SampleEncoding::MuLaw;
    } else if (plain == "alaw") {
        stored.layout.encoding = SampleEncoding::ALaw;
    } else if (plain == "pcm") {
        const std::uint32_t width = header.count("sample_n_bytes", 2);
        if (width < 1 || width > 4)
            return fail(kUnknownSampleFormat);
        stored.layout.encoding = pcmEncoding(width);
    } else {
        return fail("Unsupported compression type: " + std::string(coding));
    }
    const std::string_view order = header.text("sample_byte_format");
    if (order.starts_with("10"))
        stored.layout.order = ByteOrder::Big;
    else if (!order.starts_with("01") && stored.layout.encoding == SampleEncoding::Pcm16)
        stored.layout.order = smootherOrder(file, stored.position, ByteOrder::Little);
    if (plain.size() == coding.size())
        return attachStoredWave(waveform, file, stored);

    if (coding.substr(plain.size()).find("shorten") == std::string_view::npos)
        return fail("Unsupported compression type: " + std::string(coding));
    waveform.sampleRate = static_cast<std::uint32_t>(std::clamp(stored.rate, 0.0, 2147483647.0));
    waveform.frames = stored.frames == kToFileEnd ? 0 : static_cast<std::uint32_t>(stored.frames);
    return attachShorten(waveform, file, stored.position);
}

}  // namespace

bool readNist(Collection& collection, OpenFile& file, std::uint32_t) {
    return readWaveform(collection, file, fillFromNist);
}

}  // namespace velor
