#include "formats/framework/probe_cases.h"

namespace velor::test {

namespace {

constexpr std::string_view kAkaiName{"\x0A\x1A\x13\x0B\x18\x19\x0A\x0A\x0A\x0A\x0A\x0A", 12};  // " PIANO"

Bytes akaiProgram(std::size_t header) {
    return Bytes(2 * header).u8(0, 1).u16(1, static_cast<unsigned>(header)).text(3, kAkaiName).u8(header, 2);
}

Bytes akaiSample(std::size_t header, std::uint32_t words) {
    return Bytes(header + 2 * words)
        .u8(0, 3)
        .u8(1, 1)
        .u8(2, 60)
        .text(3, kAkaiName)
        .u8(15, 128)
        .u8(19, 2)
        .u32(26, words);
}

Bytes mpcSound(unsigned type, std::size_t header, std::uint32_t frames) {
    Bytes file(header);
    file.u8(0, 1).u8(1, type).text(2, "KICK 1          ").u8(18, 0);
    if (type >= 2)
        return file.u8(19, 100).u8(21, 1).u32(30, frames).resize(header + 4 * frames);
    return file.u32(19, frames).resize(header + frames / 2 * 3);
}

Bytes korgBank(unsigned product) {
    return Bytes(64).text(0, "KORG").u8(4, product).u8(6, 1);
}

Bytes paResource(unsigned type) {
    Bytes file(64);
    file.text(0, {"\x01\x00\x01\x14", 4}).be32(4, 200);
    file.u8(8, 2).be32(12, 12).text(16, "KORF");
    return file.u8(28, 5).be32(32, 4).u8(40, type).be32(44, 100);
}

Bytes kurzweil(std::uint32_t samples) {
    return Bytes(256).text(0, "PRAM").be32(4, samples).be32(16, 353);
}

Bytes casioDump(unsigned banks, unsigned voices, unsigned waves) {
    const unsigned sectors = banks + (voices + 3) / 4 + waves;
    return Bytes(sectors * 1024).u16(1008, voices).u16(1010, sectors).u16(1012, waves);
}

Bytes casioDumpWithHead(unsigned banks, unsigned voices, unsigned waves) {
    const unsigned sectors = 1 + banks + (voices + 3) / 4 + waves;
    Bytes file(sectors * 1024);
    file.u16(0, 2).u16(2, sectors).u16(1018, voices).u16(1020, banks).u16(1022, waves);
    return file;
}

Bytes motif(std::string_view version, std::string_view blocks) {
    Bytes file(64 + blocks.size() * 2);
    file.text(0, "YAMAHA-YSFC").text(16, version).be32(32, static_cast<std::uint32_t>(blocks.size() * 2));
    for (std::size_t i = 0; i < blocks.size(); i += 4)
        file.text(64 + 2 * i, blocks.substr(i, 4));
    return file;
}

}  // namespace

std::vector<ProbeCase> samplerCases() {
    Bytes mpc3000(4608);
    mpc3000.u8(0, 7).fill(4544, 64, 40);
    Bytes floppy(6144);
    for (std::size_t i = 0; i < 64; ++i)
        floppy.text(i * 24, "DRUMS 1   ").u8(i * 24 + 16, 'S').u8(i * 24 + 22, 0xFF);
    Bytes chkSys(32768, 0xEE);
    chkSys.fill(24576, 8192, 0);
    Bytes aiffC =
        iff("AIFC", {iffChunk("FVER", Bytes(4)), iffChunk("COMM", Bytes(18).text("DWVW").zeros(2))});
    Bytes okiRom(65536);
    okiRom.be32(0, 500 << 8).be32(8, 3000 << 8);
    Bytes soundDesigner(1400);
    soundDesigner.be16(0, 1336).be32(1020, 44100).be16(1028, 16);

    std::vector<ProbeCase> cases{
        {"p", 287, 4, akaiProgram(150)},
        {"p", 288, 4, akaiProgram(192)},
        {"p1", 289, 2, akaiProgram(150).u8(150, 9)},  // no keygroup where one is due
        {"s", 350, 4, akaiSample(150, 400)},
        {"s", 351, 4, akaiSample(192, 400)},
        {"s", 351, 4, akaiSample(180, 400)},
        {"p", 286, 4, Bytes(38 + 140).text(0, "STRINGS   ").u8(23, 2).u8(38, 127).u8(39, 24)},
        {"p9", 291, 4, Bytes(38 + 70).text(0, "STRINGS   ").u8(23, 1).u8(38, 60).u8(39, 60)},
        {"s9", 354, 4, Bytes(60 + 300).text(0, "FLUTE C4  ").u32(16, 200).u16(20, 40000).u8(26, 'L')},
        {"s", 349, 2, Bytes(60 + 200).text(0, "FLUTE C4  ").u32(16, 200).u16(20, 40000).u8(26, 'L')},
        {"akai", 19, 2, floppy, 819200},
        {"dmg", 68, 2, chkSys, 843776},
        {"akp", 20, 6, riff("APRG", {chunk("prg ", Bytes(6, 1))}).u32(4, 0)},
        {"s3p", 362, 6, Bytes(64).text(0, "PSYSSS30")},
        {"pgm", 321, 6, Bytes(10756).u32(0, 10756).text(4, "MPC1000 PGM 1.00")},
        {"pgm", 322, 6, Bytes(2290 + 34).u8(0, 7).u8(1, 4).u16(2, 2).u8(38, 0x1E)},
        {"pgm", 325, 6, mpc3000},
        {"snd", 397, 6, mpcSound(1, 39, 200)},
        {"snd", 397, 6, mpcSound(2, 38, 100)},
        {"snd", 397, 6, mpcSound(4, 42, 100)},
        {"snd", 397, 4, mpcSound(4, 42, 100).u32(30, 7)},
        {"xpm", 511, 6, Bytes().text(0, "<?xml version=\"1.0\"?>\n\n<MPCVObject>\n  <Version>")},
        {"kmp", 201, 6, Bytes(64).text(0, "MSP1").be32(4, 18)},
        {"ksf", 216, 6, Bytes(64).text(0, "SMP1").be32(4, 32)},
        {"ksf", 216, 4, Bytes(64).text(0, "SDD1").be32(4, 56)},
        {"ksc", 210, 6, Bytes().text(0, "#KORG Script Version 1.0\r\nPIANO000.KMP\r\n")},
        {"kmp", 200, 6, paResource(0x11)},
        {"pcm", 319, 6, paResource(0x12)},
        {"k25", 195, 4, kurzweil(128)},
        {"krz", 208, 6, kurzweil(128)},
        {"kr1", 207, 6, kurzweil(100000)},
        {"fzv", 117, 4, casioDump(0, 1, 3)},
        {"fzb", 115, 4, casioDump(1, 6, 3)},
        {"fzf", 116, 4, casioDump(2, 9, 3)},
        {"fzf", 116, 4, casioDumpWithHead(2, 9, 3)},
        {"fzb", 115, 4, casioDumpWithHead(1, 6, 3)},
        {"smp", 394, 6, Bytes(120).text(0, "SOUND SAMPLE DATA 2.1 ")},
        {"sd", 367, 6, soundDesigner, 0, 60},
        {"dig", 60, 2, Bytes(1400).be16(0, 1336)},
        {"sd2", 370, 6, Bytes(256).u8(1, 4).text(2, "kick").text(65, "Sd2fSd2a")},
        {"paf", 296, 6, Bytes(2048).text(0, " paf").be32(8, 0).be32(12, 44100)},
        {"paf", 296, 6, Bytes(2048).text(0, "fap ").u32(12, 44100)},
        {"pcm", 320, 2, okiRom},
        {"w01", 466, 6, Bytes(64).text(0, "LM8953").u8(22, 0xC9)},
        {"c01", 41, 4, aiffC},
        {"o01", 277, 6, iff("TYPV", {Bytes().text("VInf")})},
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

Bytes soundFont(unsigned major) {
    return riff(
        "sfbk",
        {list("INFO", {chunk("isng", Bytes().text("EMU8000")), chunk("ifil", Bytes().u16(major).u16(1))})});
}

Bytes dlsInstruments(const Bytes& regionExtra, const Bytes& articulation) {
    const Bytes region = list("rgn ", {chunk("rgnh", Bytes(12)), regionExtra});
    return riff(
        "DLS ",
        {chunk("colh", Bytes(4, 1)),
         list("lins", {list("ins ", {chunk("insh", Bytes(12)), articulation, list("lrgn", {region})})})});
}

Bytes waveFront(std::string_view card, std::string_view kind) {
    return Bytes(256).text(0, card).text(32, kind).u16(64, 120);
}

Bytes interwave() {
    return chunk("FFFF", chunk("ENVP", Bytes(12)));
}

}  // namespace

std::vector<ProbeCase> bankCases() {
    const Bytes link = chunk("3lnk", Bytes(172));
    const Bytes giga = list("lart", {chunk("3ewg", Bytes(12))});
    const Bytes plain = dlsInstruments({}, {});
    const Bytes wave = riff("WAVE", {chunk("fmt ", Bytes(16, 1))});
    return {
        {"sbk", 365, 6, soundFont(1)},
        {"sf2", 365, 6, soundFont(1)},  // a first-generation bank under the later extension
        {"sf2", 379, 6, soundFont(2)},
        {"sf3", 381, 6, soundFont(3)},
        {"sf3", 381, 4, soundFont(2)},
        {"sf2", 379, 6, riff("sfbk", {list("sdta", {})})},
        {"arl", 28, 4, soundFont(2)},
        {"sf2pack", 380, 6, riff("sfpk", {})},
        {"sf2pack", 380, 4, soundFont(2)},
        {"sfark", 382, 6, Bytes(64).text(21, " 2.14sfArk").u8(31, 7)},
        {"dls", 62, 6, plain},
        {"gig", 62, 6, plain},
        {"dlp", 61, 4, plain},
        {"gig", 160, 6, dlsInstruments(link, {})},
        {"gig", 160, 6, dlsInstruments({}, giga)},
        {"dls", 160, 6, dlsInstruments(link, giga)},
        {"gig", 160, 4, riff("DLS ", {list("INFO", {Bytes(40000)})}).resize(32768), 50000},
        {"gi!", 165, 4, dlsInstruments(link, {})},
        {"wa!", 480, 4, wave},
        {"mls", 235, 6, riff("MLS ", {})},
        {"pat", 297, 6, Bytes(240).text(0, {"GF1PATCH110\0ID#000002\0", 22})},
        {"pat", 297, 6, Bytes(240).text(0, {"GF1PATCH100\0ID#000002\0", 22})},
        {"fff", 106, 6, interwave()},
        {"fff", 106, 4, interwave().u8(4, 0xFF)},
        {"ini", 181, 6, Bytes().text(0, "; set of 1996\r\n\r\n[Melodic Bank 0]\r\n0=acpiano\r\n")},
        {"wfb", 481, 6, waveFront("Maui", "Bank")},
        {"wfd", 482, 6, waveFront("TropezPlus", "DrumKit")},
        {"wfp", 483, 6, waveFront("Rio", "Program")},
    };
}

namespace {

Bytes kontakt2(std::uint32_t magic, unsigned kind) {
    return Bytes(200).be32(0, magic).u16(8, 0x0100).text(10, "\x72\x2A\x01\x3E").u16(14, kind);
}

Bytes kontakt5() {
    Bytes file(256);
    return file.u32(0, 256).u32(8, 1).text(12, "hsin").u32(16, 1).text(60, "4KIN");
}

Bytes exs(std::string_view tag, unsigned order) {
    return Bytes(84 + 40).u8(0, order).u8(1, 1).text(16, tag).text(20, "Piano");
}

Bytes reasonPatch(std::string_view device) {
    return iff("PTCH",
               {iffChunk("CAT ", Bytes(305, 2).text(0, "REFS")), iffChunk("DESC", Bytes().text(device))});
}

Bytes unrealPackage(std::string_view className) {
    Bytes file(64);
    file.u32(0, 0x9E2A83C1).u32(4, 68).u32(12, 3).u32(16, 64);
    for (const std::string_view name : {std::string_view{"None"}, std::string_view{"Package"}, className}) {
        const std::size_t at = file.size();
        file.u8(at, static_cast<unsigned>(name.size() + 1))
            .text(at + 1, name)
            .resize(at + 2 + name.size() + 4);
    }
    return file;
}

Bytes text(std::string_view value) {
    return Bytes().text(0, value);
}

}  // namespace

std::vector<ProbeCase> softwareCases() {
    Bytes unreal4(64);
    unreal4.u32(0, 0x9E2A83C1).u32(4, static_cast<std::uint32_t>(-7));
    return {
        {"exs", 100, 6, exs("TBOS", 1)},
        {"exs", 100, 6, exs("SOBT", 0)},
        {"nki", 265, 6, Bytes(64).be32(0, 0x5EE56EB3)},
        {"nkm", 270, 6, Bytes(64).be32(0, 0xA4D6E55A)},
        {"nki", 266, 6, kontakt2(0x1290A87F, 1)},
        {"nki", 266, 6, Bytes(64).be32(0, 0x7FA89012)},
        {"nkm", 271, 6, kontakt2(0x01EF85AB, 0)},
        {"nkb", 261, 6, kontakt2(0x1290A87F, 2)},
        {"nki", 266, 6, Bytes(64).be32(0, 0x54AC705E)},
        {"nki", 267, 6, kontakt5()},
        {"nki", 267, 4, kontakt5().fill(60, 4, 0)},
        {"nki", 267, 6, text("/\\ NI FC MTD  /\\  ")},
        {"ncw", 258, 6, text({"\x01\xA8\x9E\xD6\x31\x01\0\0\x02\0", 10})},
        {"kit", 199, 6, text("<?xml version=\"1.0\"?><!-- kit --><BatteryPatch name=\"x\">")},
        {"map", 224, 6, Bytes(64).u32(0, 9).text(4, "NIMapFile")},
        {"sxt", 422, 6, reasonPatch("NN-XT NNXT Digital Sampler")},
        {"sxt", 422, 4, iff("PTCH", {iffChunk("CAT ", Bytes(40000, 'R'))}).resize(32768)},
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
        {"sfz", 386, 2, Bytes(32768, '-').text(0, "//"), 90000},
        {"uasset", 440, 6, unreal4},
        {"uax", 441, 6, unrealPackage("Sound")},
        {"umx", 447, 6, unrealPackage("Music")},
        {"uax", 441, 4, unrealPackage("Texture")},
    };
}

namespace {

Bytes packedDisk(std::size_t textEnd, unsigned id) {
    Bytes file(1024);
    return file.text(0, "\r\nEPS disk").text(0x4E, "\r\n").text(textEnd, "\r\n\x1A").u8(511, id);
}

Bytes ensoniqFile(std::string_view device, unsigned type, unsigned model) {
    Bytes file(2048);
    file.text(0, "\r\n").text(2, device).text(0x12, "PIANO       Instr").text(0x2F, "\r\n\x1A");
    return file.u8(0x32, type).be16(0x200 + 0x3C, model);
}

}  // namespace

std::vector<ProbeCase> diskCases() {
    const Bytes plain = Bytes(4096, 0x6D).text(550, "ID").text(2558, "DR");
    const Bytes s770 = Bytes(1024).text(4, "S770 MR25A");
    const std::uint64_t megabytes600 = 600u << 20;
    return {
        {"out", 284, 6, Bytes(1024).text(4, "S550"), 737280},
        {"sdk", 371, 6, Bytes(1024).text(4, "W-30"), 737280, 284},
        {"out", 285, 6, s770, 1474560},
        {"sdk", 372, 6, s770, megabytes600},
        {"iso", 372, 6, s770, megabytes600},
        {"sdk", 371, 6, Bytes(1024).text(4, "LAND").text(256, "Instrument Group"), megabytes600},
        {"eui", 99, 6, plain, 1638400},
        {"img", 177, 6, plain, 819200, 99},
        {"ede", 81, 4, plain, 819200},
        {"ede", 81, 6, packedDisk(0x9D, 0x03), 300000},
        {"eda", 80, 6, packedDisk(0x5D, 0xCB), 300000},
        {"edk", 82, 4, packedDisk(0x9D, 0x55), 300000},
        {"edx", 86, 4, packedDisk(0x5D, 0xCC), 300000},
        {"edm", 83, 4, Bytes(4096), 450560},
        {"gkh", 166, 6, Bytes(64).text(0, "TDDFI").u8(5, 1)},
        {"efe", 88, 6, ensoniqFile("Eps File:       ", 3, 0)},
        {"ins", 185, 6, ensoniqFile("Eps File:       ", 3, 0), 0, 88},
        {"efa", 87, 6, ensoniqFile("Eps File:       ", 3, 0xFFFE)},
        {"efe", 88, 4, ensoniqFile("Eps File:       ", 3, 0xFFFE)},
        {"efv", 92, 6, ensoniqFile("Vfx File:       ", 11, 0)},
        {"efk", 89, 4, ensoniqFile("KT File:        ", 50, 0)},
        {"efq", 90, 4, ensoniqFile("SQ File:        ", 50, 0)},
        {"efs", 91, 4, ensoniqFile("SQ80 File:      ", 50, 0)},
    };
}

namespace {

// The instrument's own initial voice.
Bytes packedVoice() {
    Bytes voice(128);
    for (std::size_t i = 0; i < 6; ++i) {
        voice.text(i * 17, {"\x63\x63\x63\x63\x63\x63\x63\x00\x27\x00\x00\x00\x38\x00\x00\x02\x00", 17});
        voice.u8(i * 17 + 14, i == 5 ? 99 : 0);
    }
    return voice.text(102,
                      {"\x63\x63\x63\x63\x32\x32\x32\x32\x00\x08\x23\x00\x00\x00\x31\x18INIT VOICE", 26});
}

Bytes unpackedVoice() {
    Bytes voice(155);
    for (std::size_t i = 0; i < 6; ++i)
        voice.text(i * 21, {"\x63\x63\x63\x63\x63\x63\x63\0\x27\0\0\0\0\0\0\0\x63\0\1\0\7", 21});
    return voice.fill(126, 4, 99).fill(130, 4, 50).u8(144, 24).text(145, "INIT VOICE");
}

Bytes fourOperatorVoice(bool waves) {
    Bytes voice(128);
    for (std::size_t i = 0; i < 4; ++i)
        voice.text(i * 10, {"\x1F\x1F\0\x0F\x0F\0\0\x5A\4\3", 10});
    return voice.u8(46, 24).text(57, "E.PIANO  1").u8(73, waves ? 0x20 : 0);
}

Bytes bank(const Bytes& voice) {
    Bytes all;
    for (int i = 0; i < 32; ++i)
        all.add(voice);
    return all;
}

Bytes message(std::string_view header, const Bytes& data) {
    return Bytes().u8(0xF0).text(header).add(data).u8(0x11).u8(0xF7);
}

Bytes dx7Bank() {
    return message({"\x43\0\x09\x20\0", 5}, bank(packedVoice()));
}

Bytes dx21Bank(bool waves) {
    return message({"\x43\0\x04\x20\0", 5}, bank(fourOperatorVoice(waves)));
}

Bytes d50Bank() {
    Bytes all(64 * 448);
    for (std::size_t i = 0; i < 64; ++i)
        all.text(i * 448 + 2 * 64, "\x01\x1B").text(i * 448 + 6 * 64, "\x06\x1B\x2E\x2E");
    return all;
}

}  // namespace

std::vector<ProbeCase> voiceCases() {
    const Bytes extra = message({"\x43\0\x06\x08\x60", 5}, Bytes(1120));
    const Bytes supplement = message({"\x43\0\x7E\0\x21", 5}, Bytes(33).text(0, "LM  8976AE"));
    const Bytes edit = message({"\x43\0\x03\0\x5D", 5}, Bytes(93, 1));
    Bytes control(65536, 0x33);
    control.text(0x4011, "ver1.07 10 Oct, 87").resize(32768);
    Bytes samples(32768, 0x91);
    return {
        {"32", 1, 4, packedVoice()},
        {"32", 1, 4, unpackedVoice()},
        {"dx7", 79, 6, bank(packedVoice())},
        {"dx7", 79, 6, bank(packedVoice()).add(packedVoice())},
        {"dx7", 79, 4, packedVoice().add(packedVoice())},
        {"dx7", 78, 6, dx7Bank()},
        {"syx", 425, 6, dx7Bank(), 0, 78},
        {"syx", 425, 6, Bytes(7).add(dx7Bank()), 0, 78},
        {"syx", 426, 6, Bytes(extra).add(dx7Bank())},
        {"syx", 423, 6, dx21Bank(false), 0, 36},
        {"bn4", 36, 6, dx21Bank(false)},
        {"bnk", 38, 6, dx21Bank(false), 0, 36},
        {"bnk", 38, 4, bank(fourOperatorVoice(false))},
        {"bnk", 39, 4, bank(fourOperatorVoice(true))},
        {"bnk", 39, 6, dx21Bank(true)},
        {"syx", 424, 6, dx21Bank(true), 0, 39},
        {"syx", 424, 6, Bytes(supplement).add(edit), 0, 39},
        {"syx", 423, 6, edit, 0, 36},
        {"syx", 427, 6, text({"\xF0\x41\0\x14\x12\0\0\0\1\2\3\xF7", 12})},
        {"syx", 428, 6, text({"\xF0\x41\x10\x16\x12\x05\0\0\1\2\3\xF7", 12})},
        {"bin", 35, 4, d50Bank()},
        {"rom", 340, 6, control, 65536},
        {"rom", 339, 2, samples, 524288},
    };
}

}  // namespace velor::test
