#include "formats/framework/probe_cases_b.h"

#include <algorithm>
#include <array>

namespace velor::test {

FileBytes& FileBytes::text(std::size_t offset, std::string_view value) {
    bytes_.resize(std::max(bytes_.size(), offset + value.size()));
    std::copy(value.begin(), value.end(), bytes_.begin() + static_cast<std::ptrdiff_t>(offset));
    return *this;
}

FileBytes& FileBytes::number(std::size_t offset, std::uint64_t value, std::size_t width, ByteOrder order) {
    bytes_.resize(std::max(bytes_.size(), offset + width));
    for (std::size_t i = 0; i < width; ++i) {
        const std::size_t shift = 8 * (order == ByteOrder::Little ? i : width - 1 - i);
        bytes_[offset + i] = static_cast<Byte>(value >> shift);
    }
    return *this;
}

FileBytes& FileBytes::fill(std::size_t offset, std::size_t count, Byte value) {
    bytes_.resize(std::max(bytes_.size(), offset + count));
    std::fill_n(bytes_.begin() + static_cast<std::ptrdiff_t>(offset), count, value);
    return *this;
}

FileBytes& FileBytes::resize(std::size_t size) {
    bytes_.resize(size);
    return *this;
}

FileBytes& FileBytes::chunk(std::string_view id, std::string_view data, ByteOrder order) {
    text(bytes_.size(), id);
    number(bytes_.size(), data.size(), 4, order);
    text(bytes_.size(), data);
    if (data.size() % 2 != 0)
        u8(bytes_.size(), 0);
    return *this;
}

std::string chunkText(std::string_view id, std::string_view data, ByteOrder order) {
    return FileBytes().chunk(id, data, order).string();
}

std::string listText(std::string_view form, std::string_view chunks) {
    return chunkText("LIST", std::string(form) + std::string(chunks));
}

FileBytes riff(std::string_view form, std::string_view chunks) {
    return FileBytes().chunk("RIFF", std::string(form) + std::string(chunks));
}

FileBytes iff(std::string_view form, std::string_view chunks) {
    return FileBytes().chunk("FORM", std::string(form) + std::string(chunks), ByteOrder::Big);
}

namespace {

constexpr std::string_view kAkaiName{"\x0A\x1A\x13\x0B\x18\x19\x0A\x0A\x0A\x0A\x0A\x0A", 12};  // " PIANO"

FileBytes akaiProgram(std::size_t header) {
    return FileBytes(2 * header)
        .u8(0, 1)
        .le16(1, static_cast<unsigned>(header))
        .text(3, kAkaiName)
        .u8(header, 2);
}

FileBytes akaiSample(std::size_t header, std::uint32_t words) {
    return FileBytes(header + 2 * words)
        .u8(0, 3)
        .u8(1, 1)
        .u8(2, 60)
        .text(3, kAkaiName)
        .u8(15, 128)
        .u8(19, 2)
        .le32(26, words);
}

FileBytes mpcSound(unsigned type, std::size_t header, std::uint32_t frames) {
    FileBytes file(header);
    file.u8(0, 1).u8(1, type).text(2, "KICK 1          ").u8(18, 0);
    if (type >= 2)
        return file.u8(19, 100).u8(21, 1).le32(30, frames).resize(header + 4 * frames);
    return file.le32(19, frames).resize(header + frames / 2 * 3);
}

FileBytes korgBank(unsigned product) {
    return FileBytes(64).text(0, "KORG").u8(4, product).u8(6, 1);
}

FileBytes paResource(unsigned type) {
    FileBytes file(64);
    file.text(0, {"\x01\x00\x01\x14", 4}).be32(4, 200);
    file.u8(8, 2).be32(12, 12).text(16, "KORF");
    return file.u8(28, 5).be32(32, 4).u8(40, type).be32(44, 100);
}

FileBytes kurzweil(std::uint32_t samples) {
    return FileBytes(256).text(0, "PRAM").be32(4, samples).be32(16, 353);
}

FileBytes casioDump(unsigned banks, unsigned voices, unsigned waves) {
    const unsigned sectors = banks + (voices + 3) / 4 + waves;
    return FileBytes(sectors * 1024).le16(1008, voices).le16(1010, sectors).le16(1012, waves);
}

FileBytes casioDumpWithHead(unsigned banks, unsigned voices, unsigned waves) {
    const unsigned sectors = 1 + banks + (voices + 3) / 4 + waves;
    FileBytes file(sectors * 1024);
    file.le16(0, 2).le16(2, sectors).le16(1018, voices).le16(1020, banks).le16(1022, waves);
    return file;
}

FileBytes motif(std::string_view version, std::string_view blocks) {
    FileBytes file(64 + blocks.size() * 2);
    file.text(0, "YAMAHA-YSFC").text(16, version).be32(32, static_cast<std::uint32_t>(blocks.size() * 2));
    for (std::size_t i = 0; i < blocks.size(); i += 4)
        file.text(64 + 2 * i, blocks.substr(i, 4));
    return file;
}

}  // namespace

std::vector<ProbeCase> samplerCases() {
    FileBytes mpc3000(4608);
    mpc3000.u8(0, 7).fill(4544, 64, 40);
    FileBytes floppy(6144);
    for (std::size_t i = 0; i < 64; ++i)
        floppy.text(i * 24, "DRUMS 1   ").u8(i * 24 + 16, 'S').u8(i * 24 + 22, 0xFF);
    FileBytes chkSys(32768, 0xEE);
    chkSys.fill(24576, 8192, 0);
    FileBytes aiffC = iff(
        "AIFC", chunkText("FVER", std::string(4, '\0'), ByteOrder::Big) +
                    chunkText("COMM", std::string(18, '\0') + "DWVW" + std::string(2, '\0'), ByteOrder::Big));
    FileBytes okiRom(65536);
    okiRom.be32(0, 500 << 8).be32(8, 3000 << 8);
    FileBytes soundDesigner(1400);
    soundDesigner.be16(0, 1336).be32(1020, 44100).be16(1028, 16);

    std::vector<ProbeCase> cases{
        {"p", 287, 4, akaiProgram(150)},
        {"p", 288, 4, akaiProgram(192)},
        {"p1", 289, 4, akaiProgram(150)},
        {"p3", 290, 4, akaiProgram(192)},
        {"p1", 289, 2, akaiProgram(150).u8(150, 9)},  // no keygroup where one is due
        {"s", 350, 4, akaiSample(150, 400)},
        {"s", 351, 4, akaiSample(192, 400)},
        {"s", 351, 4, akaiSample(180, 400)},
        {"s1", 352, 4, akaiSample(150, 400)},
        {"s3", 353, 4, akaiSample(192, 400)},
        {"p", 286, 4, FileBytes(38 + 140).text(0, "STRINGS   ").u8(23, 2).u8(38, 127).u8(39, 24)},
        {"p9", 291, 4, FileBytes(38 + 70).text(0, "STRINGS   ").u8(23, 1).u8(38, 60).u8(39, 60)},
        {"s9", 354, 4, FileBytes(60 + 300).text(0, "FLUTE C4  ").le32(16, 200).le16(20, 40000).u8(26, 'L')},
        {"s", 349, 2, FileBytes(60 + 200).text(0, "FLUTE C4  ").le32(16, 200).le16(20, 40000).u8(26, 'L')},
        {"akai", 19, 2, floppy, 819200},
        {"dmg", 68, 2, chkSys, 843776},
        {"akp", 20, 6, riff("APRG", chunkText("prg ", std::string(6, '\1'))).le32(4, 0)},
        {"s3p", 362, 6, FileBytes(64).text(0, "PSYSSS30")},
        {"pgm", 321, 6, FileBytes(10756).le32(0, 10756).text(4, "MPC1000 PGM 1.00")},
        {"pgm", 322, 6, FileBytes(2290 + 34).u8(0, 7).u8(1, 4).le16(2, 2).u8(38, 0x1E)},
        {"pgm", 325, 6, mpc3000},
        {"snd", 397, 6, mpcSound(1, 39, 200)},
        {"snd", 397, 6, mpcSound(2, 38, 100)},
        {"snd", 397, 6, mpcSound(4, 42, 100)},
        {"snd", 397, 4, mpcSound(4, 42, 100).le32(30, 7)},
        {"xpm", 511, 6, FileBytes().text(0, "<?xml version=\"1.0\"?>\n\n<MPCVObject>\n  <Version>")},
        {"kmp", 201, 6, FileBytes(64).text(0, "MSP1").be32(4, 18)},
        {"ksf", 216, 6, FileBytes(64).text(0, "SMP1").be32(4, 32)},
        {"ksf", 216, 4, FileBytes(64).text(0, "SDD1").be32(4, 56)},
        {"ksc", 210, 6, FileBytes().text(0, "#KORG Script Version 1.0\r\nPIANO000.KMP\r\n")},
        {"kmp", 200, 6, paResource(0x11)},
        {"pcm", 319, 6, paResource(0x12)},
        {"k25", 195, 4, kurzweil(128)},
        {"k26", 196, 4, kurzweil(128)},
        {"krz", 208, 6, kurzweil(128)},
        {"kr1", 207, 6, kurzweil(100000)},
        {"p3k", 294, 4, kurzweil(128)},
        {"for", 111, 4, kurzweil(128)},
        {"fse", 113, 4, kurzweil(128)},
        {"fzv", 117, 4, casioDump(0, 1, 3)},
        {"fzb", 115, 4, casioDump(1, 6, 3)},
        {"fzf", 116, 4, casioDump(2, 9, 3)},
        {"fzf", 116, 4, casioDumpWithHead(2, 9, 3)},
        {"fzb", 115, 4, casioDumpWithHead(1, 6, 3)},
        {"smp", 394, 6, FileBytes(120).text(0, "SOUND SAMPLE DATA 2.1 ")},
        {"sd", 367, 6, soundDesigner, 0, 60},
        {"dig", 60, 2, FileBytes(1400).be16(0, 1336)},
        {"sd2", 370, 6, FileBytes(256).u8(1, 4).text(2, "kick").text(65, "Sd2fSd2a")},
        {"paf", 296, 6, FileBytes(2048).text(0, " paf").be32(8, 0).be32(12, 44100)},
        {"paf", 296, 6, FileBytes(2048).text(0, "fap ").le32(12, 44100)},
        {"pcm", 320, 2, okiRom},
        {"w01", 466, 6, FileBytes(64).text(0, "LM8953").u8(22, 0xC9)},
        {"c01", 41, 4, aiffC},
        {"o01", 277, 6, iff("TYPV", "VInf")},
        {"x0w", 504, 6, motif("1.0.1", "EWFMDWFMEWIMDWIM")},
        {"x0v", 503, 6, motif("1.0.1", "EVCEEWFMEWIM")},
        {"x3a", 505, 6, motif("1.0.2", "EVCEESNGEWFM")},
        {"x3w", 507, 6, motif("1.0.2", "EWFMEWIM")},
        {"x3v", 506, 4, motif("1.0.2", "EWFMEWIM")},
        {"w7w", 475, 4, motif("1.0.0", "EWFMEWIM")},
    };
    for (const auto& [row, product] : {std::pair{299, 0x3Bu},
                                       {300, 0x50u},
                                       {301, 0x63u},
                                       {302, 0x75u},
                                       {303, 0x85u},
                                       {304, 0x70u},
                                       {305, 0x68u}})
        cases.push_back({"pcg", row, 6, korgBank(product)});
    return cases;
}

namespace {

FileBytes soundFont(unsigned major) {
    const std::string version = FileBytes().le16(0, major).le16(2, 1).string();
    return riff("sfbk", listText("INFO", chunkText("isng", "EMU8000") + chunkText("ifil", version)));
}

std::string dlsInstruments(std::string_view regionExtra, std::string_view articulation) {
    const std::string region =
        listText("rgn ", chunkText("rgnh", std::string(12, '\0')) + std::string(regionExtra));
    const std::string instrument = listText("ins ", chunkText("insh", std::string(12, '\0')) +
                                                        std::string(articulation) + listText("lrgn", region));
    return chunkText("colh", std::string(4, '\1')) + listText("lins", instrument);
}

FileBytes waveFront(std::string_view card, std::string_view kind) {
    return FileBytes(256).text(0, card).text(32, kind).le16(64, 120);
}

FileBytes interwave() {
    return FileBytes().chunk("FFFF", chunkText("ENVP", std::string(12, '\0')));
}

}  // namespace

std::vector<ProbeCase> bankCases() {
    const std::string link = chunkText("3lnk", std::string(172, '\0'));
    const std::string giga = listText("lart", chunkText("3ewg", std::string(12, '\0')));
    const FileBytes plain = riff("DLS ", dlsInstruments({}, {}));
    const FileBytes wave = riff("WAVE", chunkText("fmt ", std::string(16, '\1')));
    return {
        {"sbk", 365, 6, soundFont(1)},
        {"sf2", 365, 6, soundFont(1)},  // a first-generation bank under the later extension
        {"sf2", 379, 6, soundFont(2)},
        {"sf3", 381, 6, soundFont(3)},
        {"sf3", 381, 4, soundFont(2)},
        {"sf2", 379, 6, riff("sfbk", listText("sdta", ""))},
        {"arl", 28, 4, soundFont(2)},
        {"sf2pack", 380, 6, riff("sfpk", "")},
        {"sf2pack", 380, 4, soundFont(2)},
        {"sfark", 382, 6, FileBytes(64).text(21, " 2.14sfArk").u8(31, 7)},
        {"dls", 62, 6, plain},
        {"gig", 62, 6, plain},
        {"dlp", 61, 4, plain},
        {"gig", 160, 6, riff("DLS ", dlsInstruments(link, {}))},
        {"gig", 160, 6, riff("DLS ", dlsInstruments({}, giga))},
        {"dls", 160, 6, riff("DLS ", dlsInstruments(link, giga))},
        {"gig", 160, 4, riff("DLS ", listText("INFO", std::string(40000, '\0'))).resize(32768), 50000},
        {"gi!", 165, 4, riff("DLS ", dlsInstruments(link, {}))},
        {"wa!", 480, 4, wave},
        {"mls", 235, 6, riff("MLS ", "")},
        {"pat", 297, 6, FileBytes(240).text(0, {"GF1PATCH110\0ID#000002\0", 22})},
        {"pat", 297, 6, FileBytes(240).text(0, {"GF1PATCH100\0ID#000002\0", 22})},
        {"fff", 106, 6, interwave()},
        {"fff", 106, 4, interwave().u8(4, 0xFF)},
        {"ini", 181, 6, FileBytes().text(0, "; set of 1996\r\n\r\n[Melodic Bank 0]\r\n0=acpiano\r\n")},
        {"wfb", 481, 6, waveFront("Maui", "Bank")},
        {"wfd", 482, 6, waveFront("TropezPlus", "DrumKit")},
        {"wfp", 483, 6, waveFront("Rio", "Program")},
    };
}

namespace {

FileBytes kontakt2(std::uint32_t magic, unsigned kind) {
    return FileBytes(200).be32(0, magic).le16(8, 0x0100).text(10, "\x72\x2A\x01\x3E").le16(14, kind);
}

FileBytes kontakt5() {
    FileBytes file(256);
    return file.le32(0, 256).le32(8, 1).text(12, "hsin").le32(16, 1).text(60, "4KIN");
}

FileBytes exs(std::string_view tag, unsigned order) {
    return FileBytes(84 + 40).u8(0, order).u8(1, 1).text(16, tag).text(20, "Piano");
}

FileBytes reasonPatch(std::string_view device) {
    const std::string references =
        chunkText("CAT ", FileBytes(305, 2).text(0, "REFS").string(), ByteOrder::Big);
    return iff("PTCH", references + chunkText("DESC", std::string(device), ByteOrder::Big));
}

FileBytes unrealPackage(std::string_view className) {
    FileBytes file(64);
    file.le32(0, 0x9E2A83C1).le32(4, 68).le32(12, 3).le32(16, 64);
    for (const std::string_view name : {std::string_view{"None"}, std::string_view{"Package"}, className}) {
        const std::size_t at = file.bytes().size();
        file.u8(at, static_cast<unsigned>(name.size() + 1))
            .text(at + 1, name)
            .resize(at + 2 + name.size() + 4);
    }
    return file;
}

FileBytes text(std::string_view value) {
    return FileBytes().text(0, value);
}

}  // namespace

std::vector<ProbeCase> softwareCases() {
    FileBytes unreal4(64);
    unreal4.le32(0, 0x9E2A83C1).le32(4, static_cast<std::uint32_t>(-7));
    return {
        {"exs", 100, 6, exs("TBOS", 1)},
        {"exs", 100, 6, exs("SOBT", 0)},
        {"nki", 265, 6, FileBytes(64).be32(0, 0x5EE56EB3)},
        {"nkm", 270, 6, FileBytes(64).be32(0, 0xA4D6E55A)},
        {"nki", 266, 6, kontakt2(0x1290A87F, 1)},
        {"nki", 266, 6, FileBytes(64).be32(0, 0x7FA89012)},
        {"nkm", 271, 6, kontakt2(0x01EF85AB, 0)},
        {"nkb", 261, 6, kontakt2(0x1290A87F, 2)},
        {"nki", 266, 6, FileBytes(64).be32(0, 0x54AC705E)},
        {"nki", 267, 6, kontakt5()},
        {"nkm", 272, 4, kontakt5()},
        {"nkb", 262, 4, kontakt5()},
        {"nki", 267, 4, kontakt5().fill(60, 4, 0)},
        {"nki", 267, 6, text("/\\ NI FC MTD  /\\  ")},
        {"ncw", 258, 6, text({"\x01\xA8\x9E\xD6\x31\x01\0\0\x02\0", 10})},
        {"kit", 199, 6, text("<?xml version=\"1.0\"?><!-- kit --><BatteryPatch name=\"x\">")},
        {"map", 224, 6, FileBytes(64).le32(0, 9).text(4, "NIMapFile")},
        {"sxt", 422, 6, reasonPatch("NN-XT NNXT Digital Sampler")},
        {"sxt", 422, 4,
         iff("PTCH", chunkText("CAT ", std::string(40000, 'R'), ByteOrder::Big)).resize(32768)},
        {"nsmpproj", 275, 6, text("SMACEditorProject {\n  m_fileFormatVersion = 54\n")},
        {"dspreset", 75, 6, text("\xEF\xBB\xBF<?xml version=\"1.0\"?>\r\n<DecentSampler>\r\n<groups>")},
        {"txbank", 433, 6, text("<tx:bank xmlns:tx=\"http://www.tx16wx.com/3.0/bank\">")},
        {"txprog", 434, 6,
         text("<?xml?>\n<tx:program tx:name=\"a\" xmlns:tx=\"http://www.tx16wx.com/3.0/program\">")},
        {"xml", 508, 6, text("<?xml version=\"1.0\"?>\n<document>\n <session>\n  <cell row=\"0\">")},
        {"sfz", 386, 6, text("<region> sample=a.wav key=60\n")},
        {"sfz", 386, 6, text("// My piano\r\n/* two\nlines */\r\n#define $K 60\n<group>\n<region>lokey=$K")},
        {"sfz", 386, 6, text("<control>\ndefault_path=Samples/\n<global>\n")},
        {"sfz", 386, 4, text("#include \"piano.sfzh\"\n")},
        {"sfz", 386, 4, text("<group>\n<region>\n")},
        {"sfz", 386, 2, FileBytes(32768, '-').text(0, "//"), 90000},
        {"uasset", 440, 6, unreal4},
        {"uax", 441, 6, unrealPackage("Sound")},
        {"umx", 447, 6, unrealPackage("Music")},
        {"uax", 441, 4, unrealPackage("Texture")},
    };
}

namespace {

FileBytes packedDisk(std::size_t textEnd, unsigned id) {
    FileBytes file(1024);
    return file.text(0, "\r\nEPS disk").text(0x4E, "\r\n").text(textEnd, "\r\n\x1A").u8(511, id);
}

FileBytes ensoniqFile(std::string_view device, unsigned type, unsigned model) {
    FileBytes file(2048);
    file.text(0, "\r\n").text(2, device).text(0x12, "PIANO       Instr").text(0x2F, "\r\n\x1A");
    return file.u8(0x32, type).be16(0x200 + 0x3C, model);
}

}  // namespace

std::vector<ProbeCase> diskCases() {
    const FileBytes plain = FileBytes(4096, 0x6D).text(550, "ID").text(2558, "DR");
    const FileBytes s770 = FileBytes(1024).text(4, "S770 MR25A");
    const std::uint64_t megabytes600 = 600u << 20;
    return {
        {"out", 284, 6, FileBytes(1024).text(4, "S550"), 737280},
        {"sdk", 371, 6, FileBytes(1024).text(4, "W-30"), 737280, 284},
        {"out", 285, 6, s770, 1474560},
        {"sdk", 372, 6, s770, megabytes600},
        {"iso", 372, 6, s770, megabytes600},
        {"sdk", 371, 6, FileBytes(1024).text(4, "LAND").text(256, "Instrument Group"), megabytes600},
        {"eui", 99, 6, plain, 1638400},
        {"img", 177, 6, plain, 819200, 99},
        {"ede", 81, 4, plain, 819200},
        {"ede", 81, 6, packedDisk(0x9D, 0x03), 300000},
        {"eda", 80, 6, packedDisk(0x5D, 0xCB), 300000},
        {"edk", 82, 4, packedDisk(0x9D, 0x55), 300000},
        {"edq", 84, 4, packedDisk(0x9D, 0x55), 300000},
        {"edv", 85, 4, packedDisk(0x9D, 0x55), 300000},
        {"edx", 86, 4, packedDisk(0x5D, 0xCC), 300000},
        {"edm", 83, 4, FileBytes(4096), 450560},
        {"gkh", 166, 6, FileBytes(64).text(0, "TDDFI").u8(5, 1)},
        {"efe", 88, 6, ensoniqFile("Eps File:       ", 3, 0)},
        {"ins", 185, 6, ensoniqFile("Eps File:       ", 3, 0), 0, 88},
        {"efa", 87, 6, ensoniqFile("Eps File:       ", 3, 0xFFFE)},
        {"efe", 88, 4, ensoniqFile("Eps File:       ", 3, 0xFFFE)},
        {"efv", 92, 6, ensoniqFile("Vfx File:       ", 11, 0)},
        {"efk", 89, 4, ensoniqFile("KT File:        ", 50, 0)},
        {"efq", 90, 4, ensoniqFile("SQ File:        ", 50, 0)},
        {"efs", 91, 4, ensoniqFile("SQ80 File:      ", 50, 0)},
        {"efx", 93, 4, ensoniqFile("SQ80 File:      ", 50, 0)},
    };
}

namespace {

// The instrument's own initial voice.
std::string packedVoice() {
    FileBytes voice(128);
    for (std::size_t i = 0; i < 6; ++i) {
        voice.text(i * 17, {"\x63\x63\x63\x63\x63\x63\x63\x00\x27\x00\x00\x00\x38\x00\x00\x02\x00", 17});
        voice.u8(i * 17 + 14, i == 5 ? 99 : 0);
    }
    return voice.text(102, {"\x63\x63\x63\x63\x32\x32\x32\x32\x00\x08\x23\x00\x00\x00\x31\x18INIT VOICE", 26})
        .string();
}

std::string unpackedVoice() {
    FileBytes voice(155);
    for (std::size_t i = 0; i < 6; ++i)
        voice.text(i * 21, {"\x63\x63\x63\x63\x63\x63\x63\0\x27\0\0\0\0\0\0\0\x63\0\1\0\7", 21});
    return voice.fill(126, 4, 99).fill(130, 4, 50).u8(144, 24).text(145, "INIT VOICE").string();
}

std::string fourOperatorVoice(bool waves) {
    FileBytes voice(128);
    for (std::size_t i = 0; i < 4; ++i)
        voice.text(i * 10, {"\x1F\x1F\0\x0F\x0F\0\0\x5A\4\3", 10});
    return voice.u8(46, 24).text(57, "E.PIANO  1").u8(73, waves ? 0x20 : 0).string();
}

template <typename Voice>
std::string bank(Voice voice) {
    std::string all;
    for (int i = 0; i < 32; ++i)
        all += voice;
    return all;
}

std::string message(std::string_view header, std::string_view data) {
    std::string all{"\xF0"};
    all.append(header).append(data).append("\x11\xF7");
    return all;
}

std::string dx7Bank() {
    return message({"\x43\0\x09\x20\0", 5}, bank(packedVoice()));
}

std::string dx21Bank(bool waves) {
    return message({"\x43\0\x04\x20\0", 5}, bank(fourOperatorVoice(waves)));
}

std::string d50Bank() {
    FileBytes all(64 * 448);
    for (std::size_t i = 0; i < 64; ++i)
        all.text(i * 448 + 2 * 64, "\x01\x1B").text(i * 448 + 6 * 64, "\x06\x1B\x2E\x2E");
    return all.string();
}

}  // namespace

std::vector<ProbeCase> voiceCases() {
    const std::string extra = message({"\x43\0\x06\x08\x60", 5}, std::string(1120, '\0'));
    const std::string supplement =
        message({"\x43\0\x7E\0\x21", 5}, FileBytes(33).text(0, "LM  8976AE").string());
    const std::string edit = message({"\x43\0\x03\0\x5D", 5}, std::string(93, '\1'));
    FileBytes control(65536, 0x33);
    control.text(0x4011, "ver1.07 10 Oct, 87").resize(32768);
    FileBytes samples(32768, 0x91);
    return {
        {"32", 1, 4, text(packedVoice())},
        {"32", 1, 4, text(unpackedVoice())},
        {"dx7", 79, 6, text(bank(packedVoice()))},
        {"dx7", 79, 6, text(bank(packedVoice()) + packedVoice())},
        {"dx7", 79, 4, text(packedVoice() + packedVoice())},
        {"dx7", 78, 6, text(dx7Bank())},
        {"syx", 425, 6, text(dx7Bank()), 0, 78},
        {"syx", 425, 6, text(std::string(7, '\0') + dx7Bank()), 0, 78},
        {"syx", 426, 6, text(extra + dx7Bank())},
        {"syx", 423, 6, text(dx21Bank(false)), 0, 36},
        {"bn4", 36, 6, text(dx21Bank(false))},
        {"bnk", 38, 6, text(dx21Bank(false)), 0, 36},
        {"bnk", 38, 4, text(bank(fourOperatorVoice(false)))},
        {"bnk", 39, 4, text(bank(fourOperatorVoice(true)))},
        {"bnk", 39, 6, text(dx21Bank(true))},
        {"syx", 424, 6, text(dx21Bank(true)), 0, 39},
        {"syx", 424, 6, text(supplement + edit), 0, 39},
        {"syx", 423, 6, text(edit), 0, 36},
        {"syx", 427, 6, text({"\xF0\x41\0\x14\x12\0\0\0\1\2\3\xF7", 12})},
        {"syx", 428, 6, text({"\xF0\x41\x10\x16\x12\x05\0\0\1\2\3\xF7", 12})},
        {"bin", 35, 4, text(d50Bank())},
        {"rom", 340, 6, control, 65536},
        {"rom", 339, 2, samples, 524288},
    };
}

std::vector<ProbeCase> allProbeCases() {
    std::vector<ProbeCase> all;
    for (std::vector<ProbeCase> part :
         {samplerCases(), bankCases(), softwareCases(), diskCases(), voiceCases()})
        std::move(part.begin(), part.end(), std::back_inserter(all));
    return all;
}

}  // namespace velor::test
