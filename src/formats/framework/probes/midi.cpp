#include "formats/framework/probes/midi.h"

#include <algorithm>

#include "base/text.h"

namespace velor::probe {

int standardMidi(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 0, "MThd"));
}

int midiSampleDump(Head head, std::uint32_t, std::uint64_t) {
    // A universal non-real-time message; the dump header is the one that ends at byte 20.
    if (!has(head, 0, "\xF0\x7E"))
        return kNo;
    return u8(head, 20) == 0xF7 ? kCertain : kWeak;
}

int cakewalkWork(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 0, "CAKEWALK\x1A"));
}

int rolandSequencerSt(Head head, std::uint32_t, std::uint64_t) {
    return has(head, 0, "STcf") ? kLikely : kNo;
}

int rolandSequencerRs(Head head, std::uint32_t, std::uint64_t) {
    return has(head, 0, "RSVQ") ? kLikely : kNo;
}

namespace {

std::string_view textOf(Head head, std::size_t most) {
    return {reinterpret_cast<const char*>(head.data()), std::min(head.size(), most)};
}

// Melody texts are typed by hand too: a byte order mark and blanks may stand in front, letters have any case.
bool beginsWith(Head head, std::string_view wanted) {
    constexpr std::size_t kMostBlanks = 16;
    std::string_view text = textOf(head, kMostBlanks + wanted.size());
    if (text.starts_with("\xEF\xBB\xBF"))
        text.remove_prefix(3);
    while (!text.empty() && (text[0] == ' ' || text[0] == '\t' || text[0] == '\r' || text[0] == '\n'))
        text.remove_prefix(1);
    if (text.size() < wanted.size() || lowerAscii(text[0]) != lowerAscii(wanted[0]))
        return false;
    return equalNoCase(text.substr(0, wanted.size()), wanted);
}

}  // namespace

int iMelody(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(beginsWith(head, "BEGIN:IMELODY"));
}

int eMelody(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(beginsWith(head, "BEGIN:EMELODY"));
}

namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// Counts the settings of a ring-tone's middle part ("d=4,o=5,b=100"); -1 when anything else stands there.
int countDefaults(std::string_view part) {
    int settings = 0;
    std::size_t i = 0;
    const auto skipBlanks = [&] {
        while (i < part.size() && part[i] == ' ')
            ++i;
    };
    for (;;) {
        skipBlanks();
        if (i >= part.size())
            return settings;
        const char key = lowerAscii(part[i++]);
        if (std::string_view("dobslv").find(key) == std::string_view::npos || i >= part.size() ||
            part[i++] != '=')
            return -1;
        if (i >= part.size() || part[i] == ',')
            return -1;
        while (i < part.size() && part[i] != ',' && part[i] != ' ')
            ++i;
        ++settings;
        skipBlanks();
        if (i < part.size() && part[i++] != ',')
            return -1;
    }
}

// True when a note stands at the start: [length] letter [sharp] [dot] [octave] [dot], then a comma or the
// end.
bool beginsWithNote(std::string_view text) {
    std::size_t i = 0;
    const auto take = [&](auto accept) {
        if (i < text.size() && accept(text[i])) {
            ++i;
            return true;
        }
        return false;
    };
    while (take([](char c) { return c == ' ' || c == '\r' || c == '\n'; })) {
    }
    take(isDigit);
    take(isDigit);
    if (!take([](char c) { return (lowerAscii(c) >= 'a' && lowerAscii(c) <= 'h') || lowerAscii(c) == 'p'; }))
        return false;
    take([](char c) { return c == '#' || c == '_'; });
    take([](char c) { return c == '.'; });
    take(isDigit);
    take([](char c) { return c == '.'; });
    while (take([](char c) { return c == ' '; })) {
    }
    return i >= text.size() || text[i] == ',' || text[i] == '\r' || text[i] == '\n';
}

}  // namespace

int nokring(Head head, std::uint32_t, std::uint64_t) {
    constexpr std::size_t kLongestName = 64;
    constexpr std::size_t kLongestDefaults = 80;
    if (head.size() < 6 || head[0] < 0x20)
        return kNo;
    const std::string_view text = textOf(head, kLongestName + kLongestDefaults + 32);
    const std::size_t first = text.find(':');
    if (first > kLongestName || text.substr(0, first).find('\n') != std::string_view::npos)
        return kNo;
    const std::size_t second = text.find(':', first + 1);
    if (second == std::string_view::npos || second - first > kLongestDefaults)
        return kNo;
    const int defaults = countDefaults(text.substr(first + 1, second - first - 1));
    if (defaults < 0 || !beginsWithNote(text.substr(second + 1)))
        return kNo;
    return defaults >= 2 ? kCertain : defaults == 1 ? kLikely : kWeak;
}

int mobileMelody(Head head, std::uint32_t, std::uint64_t fileSize) {
    return certainIfSane(has(head, 0, "melo"), be32(head, 4) <= fileSize);
}

int syntheticMobile(Head head, std::uint32_t, std::uint64_t fileSize) {
    return certainIfSane(has(head, 0, "MMMD"), be32(head, 4) <= fileSize);
}

}  // namespace velor::probe
