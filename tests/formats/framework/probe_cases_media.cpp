#include <string>

#include "formats/framework/probe_cases.h"

namespace velor::test {
namespace {

using namespace std::string_view_literals;

Bytes head(std::string_view text) {
    return Bytes(64).text(0, text);
}
Bytes riffHead(std::string_view form) {
    return head("RIFF").u32(4, 56).text(8, form);
}
Bytes formHead(std::string_view type) {
    return head("FORM").be32(4, 56).text(8, type);
}
Bytes ftyp(std::string_view brand) {
    return Bytes(64).be32(0, 24).text(4, "ftyp").text(8, brand);
}
// Page header of Ogg with one packet of at most 255 bytes, at the begin of a stream.
Bytes oggPage(std::string_view packet) {
    Bytes page(512);
    page.text(0, "OggS").u8(5, 2).u8(26, 1);
    return page.u8(27, static_cast<unsigned>(packet.size())).text(28, packet);
}
Bytes matroska(unsigned trackType, std::string_view docType = "matroska") {
    const auto length = static_cast<unsigned>(docType.size());
    return Bytes()
        .text("\x1A\x45\xDF\xA3")
        .u8(0x83 + length)
        .text("\x42\x82")
        .u8(0x80 + length)
        .text(docType)
        .text("\x18\x53\x80\x67\x01\xFF\xFF\xFF\xFF\xFF\xFF\xFF"sv)  // a segment of unknown size
        .text("\xEC\x82\0\0"sv)                                      // something to step over
        .text("\x16\x54\xAE\x6B\x88\xAE\x86\xD7\x81\x01\x83\x81"sv)
        .u8(trackType)
        .resize(128);
}
Bytes asfWithStream(std::string_view typeGuid) {
    return Bytes(256)
        .text(0, "\x30\x26\xB2\x75\x8E\x66\xCF\x11\xA6\xD9\x00\xAA\x00\x62\xCE\x6C"sv)
        .u32(16, 200)
        .u32(24, 2)
        .text(30, "\xA1\xDC\xAB\x8C"sv)
        .u32(46, 40)
        .text(70, "\x91\x07\xDC\xB7"sv)
        .u32(86, 100)
        .text(94, typeGuid);
}
// Frames of an elementary stream that begins at `from`.
Bytes frames(std::string_view header, std::size_t bytes, int count, std::size_t size = 2000,
             std::size_t from = 0) {
    Bytes stream(size);
    for (int i = 0; i < count; ++i)
        stream.text(from + bytes * static_cast<std::size_t>(i), header);
    return stream;
}
constexpr std::string_view kMp3Frame = "\xFF\xFB\x90\x64"sv;  // 128 kbit/s at 44100 Hz
constexpr std::size_t kMp3Bytes = 417;
const Bytes kMp2 = frames("\xFF\xFD\x84\x04"sv, 384, 4);  // 128 kbit/s at 48000 Hz
Bytes module31(std::string_view id) {
    return Bytes(4096).text(0, "title").u8(950, 1).text(1080, id);
}
// Fifteen samples, of which the first has 50 words, one pattern.
Bytes module15() {
    return Bytes(600 + 1024 + 100)
        .text(0, "old song")
        .text(20, "st-01:bass")
        .be16(42, 50)
        .u8(45, 64)
        .u8(470, 1);
}
Bytes composer669() {
    return Bytes(4096).text(0, "if").fill(113, 128, 0xFF).u8(110, 1).u8(111, 1);
}

}  // namespace

// Leaves out what identify_peers_test has from other programs.
std::vector<ProbeCase> mediaCases() {
    return {
        // RIFF
        {40, 6, riffHead("WAVE").text(12, "JUNK").u32(16, 3).text(24, "bext")},
        {336, 6, riffHead("WAVE").text(12, "fmt ").u32(16, 16).u16(20, 0x300)},
        {374, 4, head("SDSS").text(8, "WAVE")},
        {341, 6, riffHead("RMID")},
        {44, 6, riffHead("CDDA")},
        {74, 6, riffHead("DSMF")},
        // FORM
        {14, 6, formHead("AIFC")},
        {525, 6, formHead("XDIR")},
        {525, 6, formHead("XMID")},
        {251, 6, head("FORM").be32(4, 14).text(8, "XDIR").text(22, "FORM").be32(26, 20).text(30, "XDLS")},
        // The MP4 family: the brand decides, and the extension among brands
        {3, 6, ftyp("3gp4")},
        {2, 6, ftyp("3g2a")},
        {246, 6, ftyp("isom")},
        {246, 6, ftyp("new1")},
        {238, 6, ftyp("qt  ")},
        {238, 6, Bytes(64).be32(0, 32).text(4, "moov").be32(8, 16).text(12, "mvhd")},
        {238, 6, Bytes(64).be32(0, 8).text(4, "wide").be32(8, 32).text(12, "mdat")},
        {238, 4, Bytes(64).be32(0, 64).text(4, "mdat")},
        {222, 4, ftyp("mp42"), 246},
        // Other containers
        {232, 6, matroska(2)},
        {232, 6, matroska(2, "webm")},
        {233, 6, matroska(1)},
        {30, 4, asfWithStream("\x40\x9E\x69\xF8"sv), 485},
        {485, 6, asfWithStream("\x40\x9E\x69\xF8"sv)},
        {249, 6, Bytes(64).be32(0, 0x1BA).be32(4, 0x44000400)},
        {250, 6, Bytes(64).be32(0, 0x1BA).be32(4, 0x21000100), 249},
        // Streams
        {242, 6, frames(kMp3Frame, kMp3Bytes, 4)},
        {242, 6, frames(kMp3Frame, kMp3Bytes, 2, 2 * 417)},
        {242, 6, frames(kMp3Frame, kMp3Bytes, 4, 2000, 20).text(0, "ID3\x04\0\0\0\0\0\x0A"sv)},
        {242, 6, frames(kMp3Frame, kMp3Bytes, 4, 2000, 120).text(0, "ID3\x03\0\0\0\0\0\x0A"sv)},  // padded
        {242, 6, frames(kMp3Frame, kMp3Bytes, 2, 417 * 2 + 128).text(834, "TAG")},
        {242, 4, Bytes(2000).text(0, "ID3\x04\0\0\0\x7F\0\0"sv), 0, 3'000'000},
        {242, 4, Bytes(417).text(0, kMp3Frame), 0},
        {242, 2, Bytes(2000).text(0, kMp3Frame), 0},
        {247, 6, frames(kMp3Frame, kMp3Bytes, 4), 242},
        {248, 6, kMp2, 240},
        {256, 4, kMp2, 240},
        {239, 6, frames("\xFF\xFF\x44\x04"sv, 128, 4)},
        {8, 6, frames("\xFF\xF1\x50\x80\x0C\x9F\xFC"sv, 100, 4)},
        {107, 6, head("ID3\x04\0\0\0\0\0\x0A"sv).text(20, "fLaC")},
        {278, 2, oggPage("Speex   "sv), 0},
        {26, 6, head("MAC ").u16(4, 3990)},
        // Plain waveforms
        {32, 6, head(".snd").be32(4, 24).be32(12, 3)},
        {32, 6, head("dns.").u32(4, 24).u32(12, 3)},
        {32, 4, head("dns."), 0},
        {378, 6, head("\x64\xA3\x02\0"sv)},
        {378, 6, head("\0\x03\xA3\x64"sv)},
        {378, 6, head(".snd").text(28, "\0\x01\xA3\x64"sv), 32},
        {172, 6, Bytes(256).text(65, "FSSD").text(128, "HCOM")},
        {172, 6, head("HCOM").be32(12, 1).be32(16, 2)},
        {98, 6, Bytes(64).text(16, "\x1A\x6A\0\0"sv).text(36, "\x1A\x6A\0\0"sv)},
        {34, 6, Bytes(128).text(0, "2BIT").be16(14, 16)},
        {402, 4, Bytes(64).u16(2, 8000).u16(4, 10).u16(6, 4), 0},
        {407, 6, Bytes(512).text(252, "\xC3\x40\x0E\xFC")},
        {276, 6, head("NVF ").text(12, "VFMT")},
        {257, 4, head("\xAA\xAA\xAA\xAA"), 0},
        {227, 6, Bytes(256).text(0, "MATLAB 5.0 MAT-file").text(126, "IM")},
        {227, 6, Bytes(64).u32(4, 1).u32(8, 1).u32(16, 11).text(20, "samplerate")},
        {227, 6, Bytes(64).be32(0, 1000).be32(4, 1).be32(8, 1).be32(16, 11).text(20, "samplerate")},
        {436, 6, Bytes().text("; Sample Rate 44100\r\n; Channels 1\r\n")},
        {436, 6, Bytes().text("%//\n% sample_rate: 8000\n%//\n1 2 3\n")},
        // Consoles
        {455, 6, head("pBAV").u32(4, 7)},
        {376, 6, head("pQES").be32(4, 1)},
        {13, 6, head("SShd").text(32, "SSbd")},
        {409, 6, head("SShd").text(32, "SSbd"), 13},
        {173, 6, head("IECSsreV").text(16, "IECSdaeH")},
        {408, 6, head("IECSsreV").text(16, "IECSuqeS")},
        {112, 6, head("FSB5").u32(4, 1).u32(8, 3)},
        {197, 6, head("KDT1").u32(4, 40).u32(12, 2)},
        // Trackers
        {237, 6, module31("M.K.")},
        {237, 6, module31("6CHN")},
        {237, 6, module31("32CH")},
        {237, 6, module31("TDZ3")},
        {237, 4, module31("M.K.").fill(45, 1, 200), 0},
        {237, 4, module15(), 0},
        {361, 6, Bytes(96).text(44, "SCRM").u8(29, 0x10)},
        {360, 6, Bytes(96).text(76, "SCRS").u8(0, 1)},
        {192, 6, Bytes(554).text(0, "IMPI")},
        {193, 6, Bytes(80).text(0, "IMPS")},
        {254, 6, Bytes(4096).text(0, "MTM\x10").u16(24, 4).u8(30, 2).u8(32, 64).u8(33, 4)},
        {6, 6, composer669()},
        {6, 6, composer669().text(0, "JN")},
        {105, 6, head("FAR\xFE").text(44, "\x0D\x0A\x1A")},
        {103, 4, head("F3R"), 0},
        {333, 6, Bytes(64).text(44, "PTMF").u8(28, 0x1A)},
        {453, 4, Bytes(64 + 100).text(0, "bass").u32(56, 100), 0},
        {76, 6, head("SONG").text(8, "NAME")},
        {110, 6, head("Funk").u8(5, 14 << 1).u32(8, 64)},
        {159, 6, Bytes(128).text(0, "GDM\xFE").text(68, "\x0D\x0A\x1AGMFS")},
        {295, 6, head("PACG").text(8, "PAIN")},
        {404, 6, head("SND ").u32(4, 56)},
        {332, 6, head("PSM ").text(8, "FILE")},
        {332, 6, head("QUP$").text(8, "OSWQ")},
        // Whatever their first bytes name alone
        {74, 6, head("DSMF")},
        {8, 6, head("ADIF")},
        {391, 6, head("ajkg\x02")},
        {456, 6, head("VAGp")},
        {101, 6, head("F2RFAR")},
        {114, 6, head("FSM\xFE")},
        {445, 6, head("MAS_UTrack_V004")},
        {24, 6, head("Extreme0\x01")},
        {25, 6, head("AMShdr\x1A")},
        {18, 6, head("AIShdr\x1A")},
        {29, 6, head("ASEhdr\x1A")},
        {67, 6, head("DDMF\x08")},
        {73, 6, head("DDSF")},
        {229, 6, head("DMDL\x11")},
        {190, 6, head("DIST\x01")},
        {406, 6, head("DSPL")},
        {230, 6, head("MMD3")},
        {279, 6, head("OKTASONG")},
        {252, 6, head("MT20")},
        {326, 6, head("PLM\x1A")},
        {327, 6, head("PLS\x1A")},
        {332, 6, head("PSM\xFE")},
        {448, 6, head("UN06")},
        {448, 6, head("APUN\x01\x05")},
        {497, 6, head("CAKEWALK\x1A")},
        {37, 6, head("\x01\0ADLIB-"sv)},
        {72, 6, head("DBRAWOPL")},
        {335, 6, head("RAWADATA")},
        // Songs and phone melodies
        {23, 6, head("#!AMR-WB_MC1.0\n")},
        {77, 6, head("DiamondWare Digitized\n\0\x1A"sv)},
        {454, 6, head("\xFF\x55\xFF\xAA\xFF\x55\xFF\xAA")},
        {96, 6, head("BEGIN:EMELODY\r\n")},
        {373, 6, head("\xF0\x7E").u8(20, 0xF7)},
        {373, 2, head("\xF0\x7E"), 0},
        {417, 4, head("STcf"), 0},
        {418, 4, head("RSVQ"), 0},
        {178, 6, Bytes().text("BEGIN:IMELODY\r\nVERSION:1.2\r\n")},
        {178, 6, Bytes().text("\xEF\xBB\xBF\r\n begin:imelody\n")},
        {437, 6, Bytes().text("Tune:d=4,o=5,b=100:8c,8e,16p,a#.6,2h\n")},
        {437, 4, Bytes().text("Tune: d=4 : c, e, g"), 0},
        {437, 2, Bytes().text("Tune::c,e,g"), 0},
        {234, 6, head("melo").be32(4, 56)},
        {236, 6, head("MMMD").be32(4, 56)},
        // FM music
        {184, 4, Bytes(80).u16(2, 0).u16(6, 2).u16(10, 15), 0},
        {337, 6, Bytes(256).u16(2, 4).text(4, "\\roll\\default").u16(44, 4).u32(197, 0x42F00000)},
        {46, 6, head("CTMF").u16(4, 0x101)},
        {174, 6, Bytes(3204).text(0, "IBK\x1A")},
        {366, 6, Bytes(52).text(0, "SBI\x1A")},
        {255, 6, head("MUS\x1A").u16(6, 16)},
    };
}

}  // namespace velor::test
