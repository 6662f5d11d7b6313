#include "formats/core/waves/sppack.h"

#include <algorithm>

#include "base/error.h"
#include "formats/core/waves/wave_file.h"

namespace velor {

namespace {

constexpr std::size_t kHeaderSize = 512;
constexpr std::size_t kDomainAt = 240, kRateAt = 244, kMagicAt = 252, kBitsAt = 256, kStereoAt = 500;
constexpr std::uint16_t kTimeDomain = 1;
constexpr std::uint16_t kMagic = 0x40C3, kSecondMagic = 0xFC0E;
constexpr std::uint16_t kStereoMagic = 4567;

struct Coding {
    std::uint16_t bits;
    std::uint16_t law;
    SampleEncoding encoding;
};
constexpr Coding kCodings[] = {
    {8, 1, SampleEncoding::Pcm8},
    {16, 1, SampleEncoding::Pcm16},
    {8, 2, SampleEncoding::ALaw},
    {8, 3, SampleEncoding::MuLaw},
};
constexpr std::uint32_t kWritable =
    encodingMask({SampleEncoding::Pcm8, SampleEncoding::Pcm16, SampleEncoding::ALaw, SampleEncoding::MuLaw});

bool fillFromSppack(OpenFile& file, Waveform& waveform) {
    const auto head = bytesAt(file, 0, kHeaderSize);
    if (head.size() < kHeaderSize)
        return fail("The SPPack header is too short");
    const bool big = loadBe<std::uint16_t>(head.data() + kMagicAt) == kMagic;
    if (!big && loadLe<std::uint16_t>(head.data() + kMagicAt) != kMagic)
        return fail("Not an SPPack file");
    ByteReader reader(head, big ? ByteOrder::Big : ByteOrder::Little);
    reader.seek(kRateAt);
    StoredWave stored;
    stored.rate = static_cast<double>(reader.f32());
    reader.seek(kBitsAt);
    const std::uint16_t bits = reader.u16();
    const std::uint16_t law = reader.u16();
    const auto* coding = std::ranges::find_if(
        kCodings, [&](const Coding& each) { return each.bits == bits && each.law == law; });
    if (coding == std::end(kCodings))
        return fail(kUnknownSampleFormat);
    reader.seek(kStereoAt);
    const bool marked = reader.u16() == kStereoMagic;
    const bool left = reader.u16() != 0;
    const bool right = reader.u16() != 0;
    stored.layout = {coding->encoding, reader.order(), false};
    stored.channels = marked && left && right ? 2 : 1;
    stored.position = kHeaderSize;
    return attachStoredWave(waveform, file, stored);
}

}  // namespace

bool readSppack(Collection& collection, OpenFile& file, std::uint32_t) {
    return readWaveform(collection, file, fillFromSppack);
}

bool writeSppack(Item& item, OpenFile& file, std::uint32_t) {
    WavePlan plan;
    Waveform* waveform = planWave(item, file, kWritable, ByteOrder::Big, plan);
    if (!waveform)
        return false;
    FileImage image;
    if (!image.allocate(kHeaderSize + plan.dataSize))
        return false;
    const auto* coding = std::ranges::find(kCodings, plan.target.layout.encoding, &Coding::encoding);
    ByteWriter to(image.bytes(), ByteOrder::Big);
    to.zeros(kDomainAt);
    to.u16(kTimeDomain);
    to.zeros(kRateAt - to.position());
    to.f32(static_cast<float>(waveform->sampleRate));
    to.zeros(kMagicAt - to.position());
    to.u16(kMagic);
    to.u16(kSecondMagic);
    to.u16(coding->bits);
    to.u16(coding->law);
    to.zeros(kStereoAt - to.position());
    const bool stereo = plan.target.channels == 2;
    to.u16(stereo ? kStereoMagic : 0);
    to.u16(stereo);
    to.u16(stereo);
    to.zeros(kHeaderSize - to.position());
    return finishWave(*waveform, plan, to, image, file);
}

}  // namespace velor
