// Identification by content of waveforms, streams, modules and songs, from the least header that names each.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "formats/framework/format_table.h"

namespace velor {
namespace {

using namespace std::string_view_literals;

// A head under construction: bytes at places, zeros elsewhere.
class Head {
  public:
    explicit Head(std::size_t size = 0) : bytes_(size) {}
    Head& text(std::size_t at, std::string_view text) {
        reserve(at + text.size());
        std::copy(text.begin(), text.end(), bytes_.begin() + static_cast<std::ptrdiff_t>(at));
        return *this;
    }
    template <typename T>
    Head& little(std::size_t at, T value) {
        reserve(at + sizeof value);
        storeLe(&bytes_[at], value);
        return *this;
    }
    template <typename T>
    Head& big(std::size_t at, T value) {
        reserve(at + sizeof value);
        storeBe(&bytes_[at], value);
        return *this;
    }
    Head& fill(std::size_t from, std::size_t to, Byte value) {
        reserve(to);
        std::fill(bytes_.begin() + static_cast<std::ptrdiff_t>(from),
                  bytes_.begin() + static_cast<std::ptrdiff_t>(to), value);
        return *this;
    }
    Head& repeat(std::size_t from, std::size_t step, int times, std::string_view what) {
        for (int i = 0; i < times; ++i)
            text(from + step * static_cast<std::size_t>(i), what);
        return *this;
    }
    Head& size(std::size_t bytes) {
        bytes_.resize(bytes);
        return *this;
    }
    operator std::vector<Byte>() const { return bytes_; }

  private:
    void reserve(std::size_t size) { bytes_.resize(std::max(bytes_.size(), size)); }
    std::vector<Byte> bytes_;
};

Head riff(std::string_view form) {
    return Head(64).text(0, "RIFF").little(4, 56u).text(8, form);
}
Head waveWithTag(std::uint16_t tag) {
    return riff("WAVE").text(12, "fmt ").little(16, 16u).little(20, tag);
}
Head form(std::string_view type) {
    return Head(64).text(0, "FORM").big(4, 56u).text(8, type);
}
Head ftyp(std::string_view brand) {
    return Head(64).big(0, 24u).text(4, "ftyp").text(8, brand);
}
// Page header of Ogg with one packet of at most 255 bytes, at the begin of a stream.
Head oggPage(std::string_view packet) {
    Head head(512);
    head.text(0, "OggS").little(5, std::uint8_t{2}).little(26, std::uint8_t{1});
    return head.little(27, static_cast<std::uint8_t>(packet.size())).text(28, packet);
}
Head matroska(std::uint8_t trackType, std::string_view docType = "matroska") {
    const auto length = static_cast<char>(0x80 + docType.size());
    std::string bytes =
        std::string("\x1A\x45\xDF\xA3") + static_cast<char>(0x83 + docType.size()) + "\x42\x82" + length;
    bytes += docType;
    bytes += "\x18\x53\x80\x67\x01\xFF\xFF\xFF\xFF\xFF\xFF\xFF"sv;  // a segment of unknown size
    bytes += "\xEC\x82\0\0"sv;                                      // something to step over
    bytes += "\x16\x54\xAE\x6B\x88\xAE\x86\xD7\x81\x01\x83\x81"sv;
    bytes += static_cast<char>(trackType);
    return Head(128).text(0, bytes);
}
Head asfWithStream(std::string_view typeGuid) {
    return Head(256)
        .text(0, "\x30\x26\xB2\x75\x8E\x66\xCF\x11\xA6\xD9\x00\xAA\x00\x62\xCE\x6C"sv)
        .little(16, std::uint64_t{200})
        .little(24, 2u)
        .text(30, "\xA1\xDC\xAB\x8C"sv)
        .little(46, std::uint64_t{40})
        .text(70, "\x91\x07\xDC\xB7"sv)
        .little(86, std::uint64_t{100})
        .text(94, typeGuid);
}
constexpr std::string_view kMp3Frame = "\xFF\xFB\x90\x64"sv;              // 128 kbit/s at 44100 Hz: 417 bytes
constexpr std::string_view kMp2Frame = "\xFF\xFD\x84\x04"sv;              // 128 kbit/s at 48000 Hz: 384 bytes
constexpr std::string_view kMp1Frame = "\xFF\xFF\x44\x04"sv;              // 128 kbit/s at 48000 Hz: 128 bytes
constexpr std::string_view kAacFrame = "\xFF\xF1\x50\x80\x0C\x9F\xFC"sv;  // 100 bytes
Head module31(std::string_view id) {
    return Head(4096).text(0, "title").little(950, std::uint8_t{1}).text(1080, id);
}
// Fifteen samples, of which the first has 50 words, one pattern.
Head module15() {
    return Head(600 + 1024 + 100)
        .text(0, "old song")
        .text(20, "st-01:bass")
        .big(42, std::uint16_t{50})
        .little(45, std::uint8_t{64})
        .little(470, std::uint8_t{1});
}
Head composer669() {
    return Head(4096)
        .text(0, "if")
        .fill(113, 241, 0xFF)
        .little(110, std::uint8_t{1})
        .little(111, std::uint8_t{1});
}

struct Case {
    int row;  // that the file is with its own extension
    int score;
    std::vector<Byte> head;
    int otherRow = -1;           // that it is under a foreign name when another row comes first
    std::uint64_t fileSize = 0;  // when larger than the head
};

const std::vector<Case>& cases() {
    static const std::vector<Case> all = {
        // RIFF
        {478, 6, riff("WAVE")},
        {40, 6, riff("WAVE").text(12, "JUNK").little(16, 3u).text(24, "bext")},
        {40, 6, Head(96).text(0, "RIFF").text(8, "WAVE").repeat(12, 8, 3, "JUNK").text(36, "bext")},
        {336, 6, waveWithTag(0x0300)},
        {171, 6, waveWithTag(0x0303)},
        {374, 4, Head(64).text(0, "SDSS").text(8, "WAVE")},
        {477, 6,
         Head(64)
             .text(0, "riff\x2E\x91\xCF\x11\xA5\xD6\x28\xDB\x04\xC1\x00\x00"sv)
             .text(24, "wave\xF3\xAC\xD3\x11\x8C\xD1\x00\xC0\x4F\x8E\xDB\x8A"sv)},
        {33, 6, riff("AVI ")},
        {341, 6, riff("RMID")},
        {44, 6, riff("CDDA")},
        {74, 6, riff("DSMF")},
        {74, 6, Head(64).text(0, "DSMF")},
        // FORM
        {15, 6, form("AIFF")},
        {16, 6, form("AIFF"), 15},
        {14, 6, form("AIFC")},
        {17, 6, form("AIFC"), 14},
        {175, 6, form("8SVX")},
        {419, 6, form("16SV"), 175},
        {228, 6, form("MAUD")},
        {525, 6, form("XDIR")},
        {525, 6, form("XMID")},
        {251, 6,
         Head(64).text(0, "FORM").big(4, 14u).text(8, "XDIR").text(22, "FORM").big(26, 20u).text(30, "XDLS")},
        // The MP4 family: the brand decides, and the extension among brands
        {3, 6, ftyp("3gp4")},
        {2, 6, ftyp("3g2a")},
        {222, 6, ftyp("M4A ")},
        {223, 6, ftyp("M4A "), 222},
        {246, 6, ftyp("isom")},
        {246, 6, ftyp("new1")},
        {238, 6, ftyp("qt  ")},
        {238, 6, Head(64).big(0, 32u).text(4, "moov").big(8, 16u).text(12, "mvhd")},
        {238, 6, Head(64).big(0, 8u).text(4, "wide").big(8, 32u).text(12, "mdat")},
        {238, 4, Head(64).big(0, 64u).text(4, "mdat")},
        {222, 4, ftyp("mp42"), 246},
        // Other containers
        {232, 6, matroska(2)},
        {232, 6, matroska(2, "webm")},
        {233, 6, matroska(1)},
        {30, 4, asfWithStream("\x40\x9E\x69\xF8"sv), 485},
        {485, 6, asfWithStream("\x40\x9E\x69\xF8"sv)},
        {495, 6, asfWithStream("\xC0\xEF\x19\xBC"sv)},
        {249, 6, Head(64).big(0, 0x1BAu).big(4, 0x44000400u)},
        {250, 6, Head(64).big(0, 0x1BAu).big(4, 0x21000100u), 249},
        // Streams
        {242, 6, Head(2000).repeat(0, 417, 4, kMp3Frame)},
        {242, 6, Head(2 * 417).repeat(0, 417, 2, kMp3Frame)},
        {242, 6, Head(2000).text(0, "ID3\x04\0\0\0\0\0\x0A"sv).repeat(20, 417, 4, kMp3Frame)},
        {242, 6, Head(2000).text(0, "ID3\x03\0\0\0\0\0\x0A"sv).repeat(120, 417, 4, kMp3Frame)},  // padded
        {242, 6, Head(417 * 2 + 128).repeat(0, 417, 2, kMp3Frame).text(834, "TAG")},
        {242, 4, Head(2000).text(0, "ID3\x04\0\0\0\x7F\0\0"sv), 0, 3'000'000},
        {242, 4, Head(417).text(0, kMp3Frame), 0},
        {242, 2, Head(2000).text(0, kMp3Frame), 0},
        {247, 6, Head(2000).repeat(0, 417, 4, kMp3Frame), 242},
        {248, 6, Head(2000).repeat(0, 384, 4, kMp2Frame), 240},
        {240, 6, Head(2000).repeat(0, 384, 4, kMp2Frame)},
        {256, 4, Head(2000).repeat(0, 384, 4, kMp2Frame), 240},
        {239, 6, Head(2000).repeat(0, 128, 4, kMp1Frame)},
        {8, 6, Head(2000).repeat(0, 100, 4, kAacFrame)},
        {8, 6, Head(64).text(0, "ADIF")},
        {23, 6, Head(64).text(0, "#!AMR\n")},
        {23, 6, Head(64).text(0, "#!AMR-WB_MC1.0\n")},
        {107, 6, Head(64).text(0, "fLaC")},
        {107, 6, Head(64).text(0, "ID3\x04\0\0\0\0\0\x0A"sv).text(20, "fLaC")},
        {278, 6, oggPage("\x01vorbis"sv)},
        {280, 6, oggPage("OpusHead"sv)},
        {278, 2, oggPage("Speex   "sv), 0},
        {26, 6, Head(64).text(0, "MAC ").little(4, std::uint16_t{3990})},
        {512, 6, Head(64).text(0, "wvpk").little(8, std::uint16_t{0x410})},
        // Plain waveforms
        {32, 6, Head(64).text(0, ".snd").big(4, 24u).big(12, 3u)},
        {32, 6, Head(64).text(0, "dns.").little(4, 24u).little(12, 3u)},
        {32, 4, Head(64).text(0, "dns."), 0},
        {378, 6, Head(64).text(0, "\x64\xA3\x02\0"sv)},
        {378, 6, Head(64).text(0, "\0\x03\xA3\x64"sv)},
        {378, 6, Head(64).text(0, ".snd").text(28, "\0\x01\xA3\x64"sv), 32},
        {42, 6, Head(64).text(0, "caff\0\x01"sv)},
        {43, 6, Head(64).text(0, "caff\0\x01"sv), 42},
        {459, 6, Head(64).text(0, "Creative Voice File\x1A")},
        {172, 6, Head(256).text(65, "FSSD").text(128, "HCOM")},
        {172, 6, Head(64).text(0, "HCOM").big(12, 1u).big(16, 2u)},
        {259, 6, Head(64).text(0, "NIST_1A\n   1024\n")},
        {98, 6, Head(64).text(16, "\x1A\x6A\0\0"sv).text(36, "\x1A\x6A\0\0"sv)},
        {34, 6, Head(128).text(0, "2BIT").big(14, std::uint16_t{16})},
        {77, 6, Head(64).text(0, "DiamondWare Digitized\n\0\x1A"sv)},
        {403, 6, Head(64).text(0, "SOUND\x1A")},
        {402, 4,
         Head(64).little(2, std::uint16_t{8000}).little(4, std::uint16_t{10}).little(6, std::uint16_t{4}), 0},
        {407, 6, Head(512).text(252, "\xC3\x40\x0E\xFC")},
        {454, 6, Head(64).text(0, "\xFF\x55\xFF\xAA\xFF\x55\xFF\xAA")},
        {331, 6, Head(64).text(0, "ALawSoundFile**\0"sv)},
        {276, 6, Head(64).text(0, "NVF ").text(12, "VFMT")},
        {391, 6, Head(64).text(0, "ajkg\x02")},
        {257, 4, Head(64).text(0, "\xAA\xAA\xAA\xAA"), 0},
        {227, 6, Head(256).text(0, "MATLAB 5.0 MAT-file").text(126, "IM")},
        {227, 6, Head(64).little(4, 1u).little(8, 1u).little(16, 11u).text(20, "samplerate")},
        {227, 6, Head(64).big(0, 1000u).big(4, 1u).big(8, 1u).big(16, 11u).text(20, "samplerate")},
        {436, 6, Head().text(0, "; Sample Rate 44100\r\n; Channels 1\r\n")},
        {436, 6, Head().text(0, "%//\n% sample_rate: 8000\n%//\n1 2 3\n")},
        {168, 4, Head(33 * 8).repeat(0, 33, 8, "\xD3"), 0},
        {169, 6, Head(38 * 4).repeat(0, 38, 4, "\xFE\xFE").repeat(35, 38, 4, "\0\xA5\xA5"sv)},
        // Consoles
        {456, 6, Head(64).text(0, "VAGp")},
        {455, 6, Head(64).text(0, "pBAV").little(4, 7u)},
        {376, 6, Head(64).text(0, "pQES").big(4, 1u)},
        {13, 6, Head(64).text(0, "SShd").text(32, "SSbd")},
        {409, 6, Head(64).text(0, "SShd").text(32, "SSbd"), 13},
        {173, 6, Head(64).text(0, "IECSsreV").text(16, "IECSdaeH")},
        {408, 6, Head(64).text(0, "IECSsreV").text(16, "IECSuqeS")},
        {112, 6, Head(64).text(0, "FSB5").little(4, 1u).little(8, 3u)},
        {197, 6, Head(64).text(0, "KDT1").little(4, 40u).little(12, 2u)},
        // Trackers
        {237, 6, module31("M.K.")},
        {237, 6, module31("6CHN")},
        {237, 6, module31("32CH")},
        {237, 6, module31("TDZ3")},
        {237, 4, module31("M.K.").fill(45, 46, 200), 0},
        {237, 4, module15(), 0},
        {361, 6, Head(96).text(44, "SCRM").little(29, std::uint8_t{0x10})},
        {360, 6, Head(96).text(76, "SCRS").little(0, std::uint8_t{1})},
        {191, 6, Head(192).text(0, "IMPM")},
        {192, 6, Head(554).text(0, "IMPI")},
        {193, 6, Head(80).text(0, "IMPS")},
        {254, 6,
         Head(4096)
             .text(0, "MTM\x10")
             .little(24, std::uint16_t{4})
             .little(30, std::uint8_t{2})
             .little(32, std::uint8_t{64})
             .little(33, std::uint8_t{4})},
        {6, 6, composer669()},
        {6, 6, composer669().text(0, "JN")},
        {105, 6, Head(64).text(0, "FAR\xFE").text(44, "\x0D\x0A\x1A")},
        {101, 6, Head(64).text(0, "F2RFAR")},
        {103, 4, Head(64).text(0, "F3R"), 0},
        {114, 6, Head(64).text(0, "FSM\xFE")},
        {333, 6, Head(64).text(44, "PTMF").little(28, std::uint8_t{0x1A})},
        {445, 6, Head(64).text(0, "MAS_UTrack_V004")},
        {453, 4, Head(64 + 100).text(0, "bass").little(56, 100u), 0},
        {524, 6, Head(64).text(0, "Extended Module: song")},
        {523, 6, Head(64).text(0, "Extended Instrument: bass")},
        {24, 6, Head(64).text(0, "Extreme0\x01")},
        {25, 6, Head(64).text(0, "AMShdr\x1A")},
        {18, 6, Head(64).text(0, "AIShdr\x1A")},
        {29, 6, Head(64).text(0, "ASEhdr\x1A")},
        {67, 6, Head(64).text(0, "DDMF\x08")},
        {73, 6, Head(64).text(0, "DDSF")},
        {76, 6, Head(64).text(0, "SONG").text(8, "NAME")},
        {110, 6, Head(64).text(0, "Funk").little(5, std::uint8_t{14 << 1}).little(8, 64u)},
        {159, 6, Head(128).text(0, "GDM\xFE").text(68, "\x0D\x0A\x1AGMFS")},
        {229, 6, Head(64).text(0, "DMDL\x11")},
        {190, 6, Head(64).text(0, "DIST\x01")},
        {406, 6, Head(64).text(0, "DSPL")},
        {230, 6, Head(64).text(0, "MMD3")},
        {279, 6, Head(64).text(0, "OKTASONG")},
        {252, 6, Head(64).text(0, "MT20")},
        {295, 6, Head(64).text(0, "PACG").text(8, "PAIN")},
        {404, 6, Head(64).text(0, "SND ").little(4, 56u)},
        {326, 6, Head(64).text(0, "PLM\x1A")},
        {327, 6, Head(64).text(0, "PLS\x1A")},
        {332, 6, Head(64).text(0, "PSM ").text(8, "FILE")},
        {332, 6, Head(64).text(0, "PSM\xFE")},
        {332, 6, Head(64).text(0, "QUP$").text(8, "OSWQ")},
        {448, 6, Head(64).text(0, "UN06")},
        {448, 6, Head(64).text(0, "APUN\x01\x05")},
        // Songs and phone melodies
        {231, 6, Head(64).text(0, "MThd")},
        {373, 6, Head(64).text(0, "\xF0\x7E").little(20, std::uint8_t{0xF7})},
        {373, 2, Head(64).text(0, "\xF0\x7E"), 0},
        {497, 6, Head(64).text(0, "CAKEWALK\x1A")},
        {417, 4, Head(64).text(0, "STcf"), 0},
        {418, 4, Head(64).text(0, "RSVQ"), 0},
        {178, 6, Head().text(0, "BEGIN:IMELODY\r\nVERSION:1.2\r\n")},
        {178, 6, Head().text(0, "\xEF\xBB\xBF\r\n begin:imelody\n")},
        {96, 6, Head().text(0, "BEGIN:EMELODY\r\n")},
        {437, 6, Head().text(0, "Tune:d=4,o=5,b=100:8c,8e,16p,a#.6,2h\n")},
        {437, 4, Head().text(0, "Tune: d=4 : c, e, g"), 0},
        {437, 2, Head().text(0, "Tune::c,e,g"), 0},
        {234, 6, Head(64).text(0, "melo").big(4, 56u)},
        {236, 6, Head(64).text(0, "MMMD").big(4, 56u)},
        // FM music
        {37, 6, Head(64).text(0, "\x01\0ADLIB-"sv)},
        {184, 4,
         Head(80).little(2, std::uint16_t{0}).little(6, std::uint16_t{2}).little(10, std::uint16_t{15}), 0},
        {337, 6,
         Head(256)
             .little(2, std::uint16_t{4})
             .text(4, "\\roll\\default")
             .little(44, std::uint16_t{4})
             .little(197, 120.0f)},
        {46, 6, Head(64).text(0, "CTMF").little(4, std::uint16_t{0x101})},
        {174, 6, Head(3204).text(0, "IBK\x1A")},
        {366, 6, Head(52).text(0, "SBI\x1A")},
        {72, 6, Head(64).text(0, "DBRAWOPL")},
        {335, 6, Head(64).text(0, "RAWADATA")},
        {255, 6, Head(64).text(0, "MUS\x1A").little(6, std::uint16_t{16})},
    };
    return all;
}

std::uint64_t sizeOf(const Case& each) {
    return std::max<std::uint64_t>(each.fileSize, each.head.size());
}

std::string show(const Case& each) {
    std::string text =
        "row " + std::to_string(each.row) + " \"" + std::string(rowDescription(each.row)) + "\", head";
    for (std::size_t i = 0; i < std::min<std::size_t>(each.head.size(), 16); ++i) {
        char digits[4];
        std::snprintf(digits, sizeof digits, " %02X", each.head[i]);
        text += digits;
    }
    return text;
}

TEST(ProbesA, LeastHeaderUnderItsOwnExtension) {
    for (const Case& each : cases()) {
        const std::string name = "file." + std::string(rowExtension(each.row));
        const Identification found = identifyBytes(name, each.head, sizeOf(each));
        EXPECT_EQ(found.row, each.row) << show(each);
        EXPECT_EQ(found.confidence, (each.score + 3) * 100 / 9) << show(each);
    }
}

// A score of 6 names the file whatever it is called; anything less loses against "Unrecognized".
TEST(ProbesA, LeastHeaderUnderAForeignName) {
    for (const Case& each : cases()) {
        const Identification found = identifyBytes("file.zzz", each.head, sizeOf(each));
        const int expected = each.otherRow >= 0 ? each.otherRow : each.score == 6 ? each.row : 0;
        EXPECT_EQ(found.row, expected) << show(each);
        EXPECT_EQ(found.confidence, expected == 0 ? 0 : 66) << show(each);
    }
}

TEST(ProbesA, LooksAlikeButIsNot) {
    struct Alike {
        const char* name;
        std::vector<Byte> head;
    };
    std::string prose = "if you read this in an editor, it is a text: ";
    while (prose.size() < 4096)
        prose += "words and more words, with numbers 12345 and lines\n";
    const Alike alikes[] = {
        {"tutor.it", Head().text(0, prose)},
        {"readme.669", Head().text(0, prose)},
        {"notes.txt", Head().text(0, prose)},
        {"table.txt", Head().text(0, "name: d=deep : not a note at all\n")},
        {"go.mod", Head().text(0, "module example\n\ngo 1.20\n").size(2048)},
        {"fortran.mod", Head(4096).text(0, "\x1F\x8B\x08\0\0\0\0\0\0\x03"sv)},
        {"picture.mp4", ftyp("heic")},
        {"noise.mp3", Head(2000).text(0, "\xFF\xFF\xFF\xFF")},
        {"image.aac", Head(2000).text(0, "\xFF\xD8\xFF\xE0")},
        {"stream.mpg", Head(64).big(0, 0x1BAu)},
        {"late tag.mp3", Head(20).text(0, "ID3\x04\0\0\0\0\0\x0A"sv)},
        {"words.ins", Head(80).fill(0, 80, 0x20)},
    };
    for (const Alike& each : alikes) {
        const Identification found = identifyBytes(each.name, each.head, each.head.size());
        EXPECT_LE(found.row, 0) << each.name << " taken for \"" << rowDescription(found.row) << '"';
    }
}

TEST(ProbesA, BroadcastWaveWalksFourChunks) {
    const auto score = [](const std::vector<Byte>& head) {
        return formatRow(40)->probe(head, formatRow(40)->variant, head.size());
    };
    const Head beginning = Head(160).text(0, "RIFF").text(8, "WAVE");
    EXPECT_EQ(score(Head(beginning).repeat(12, 8, 3, "JUNK").text(36, "bext")), 6);
    EXPECT_EQ(score(Head(beginning).repeat(12, 8, 4, "JUNK").text(44, "bext")), 2);
    EXPECT_EQ(score(Head(beginning).text(12, "data").text(20, "bext")), 2);
    EXPECT_EQ(score(Head(beginning).text(12, "LIST").little(16, 0xFFFFFFFFu)), 2);
    EXPECT_EQ(score(Head(beginning).text(12, "fmt ").little(16, 17u).text(38, "bext")),
              6);  // odd size, padded
    EXPECT_EQ(score(riff("AVI ")), 0);
}

// Every row against heads that end anywhere and fields that say anything. Each head is a block of its own, so
// that the sanitizers see a read behind its end.
TEST(ProbesA, HostileHeads) {
    std::mt19937 random(20240229);
    const auto askAll = [](const std::vector<Byte>& head, std::uint64_t fileSize) {
        for (const FormatEntry& row : FormatTable()) {
            if (!row.probe)
                continue;
            const int score = row.probe(head, row.variant, fileSize);
            EXPECT_TRUE(score >= 0 && score <= 6) << row.description;
        }
    };
    askAll({}, 0);
    askAll({}, 1'000'000);
    for (int value = 0; value < 256; ++value)
        askAll({static_cast<Byte>(value)}, 1);
    for (const Case& each : cases()) {
        for (std::size_t length = 0; length < each.head.size(); length += length < 64 ? 1 : 61) {
            const std::vector<Byte> cut(each.head.begin(),
                                        each.head.begin() + static_cast<std::ptrdiff_t>(length));
            askAll(cut, length);
            askAll(cut, each.head.size());
        }
        for (int change = 0; change < 40; ++change) {
            std::vector<Byte> changed = each.head;
            for (int bytes = 0; bytes < 4; ++bytes)
                changed[random() % std::min<std::size_t>(changed.size(), 160)] =
                    static_cast<Byte>(random() % 4 ? random() : 0xFF);
            changed.shrink_to_fit();
            askAll(changed, changed.size());
        }
    }
}

TEST(ProbesA, NoiseAndSignalsAreNothing) {
    std::mt19937 random(7);
    std::vector<Byte> head(kProbeBytes);
    for (int kind = 0; kind < 300; ++kind) {
        for (std::size_t i = 0; i < head.size(); ++i) {
            const double wave = std::sin(0.001 * (kind + 1) * static_cast<double>(i));
            head[i] = static_cast<Byte>(kind % 3 == 0   ? random()
                                        : kind % 3 == 1 ? static_cast<unsigned>(128 + std::lround(100 * wave))
                                                        : static_cast<unsigned>(std::lround(3 * wave)));
        }
        const Identification found = identifyBytes("recording", head, 5'000'000);
        EXPECT_EQ(found.row, 0) << "kind " << kind << " taken for \"" << rowDescription(found.row) << '"';
    }
}

}  // namespace
}  // namespace velor
