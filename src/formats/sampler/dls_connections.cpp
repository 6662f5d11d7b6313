#include "formats/sampler/dls_connections.h"

#include <algorithm>

#include "base/byte_reader.h"

namespace velor {

namespace {

namespace gen = generator;

// A list of more connections is damage: there are not as many different ones.
constexpr std::size_t kMostConnections = 512;

namespace source {
constexpr std::uint16_t kNone = 0, kLfo = 1, kVelocity = 2, kKey = 3, kModEnvelope = 5, kBend = 6,
                        kPolyPressure = 7, kChannelPressure = 8, kVibrato = 9, kWheel = 0x81, kVolume = 0x87,
                        kPan = 0x8A, kExpression = 0x8B, kReverb = 0xDB, kChorus = 0xDD, kBendRange = 0x100;
}

namespace destination {
constexpr std::uint16_t kGain = 1, kPitch = 3, kPan = 4, kChorus = 0x80, kReverb = 0x81, kCutoff = 0x500,
                        kShutdown = 0x20D;
}

constexpr std::int32_t kAbsoluteZero = INT32_MIN;  // no time at all
constexpr std::int32_t kOpen = INT32_MAX;          // a filter that is off
constexpr std::uint16_t kBipolarSource = 0x4000, kInvertedSource = 0x8000, kConcaveSource = 0x0400;

struct Destination {
    std::uint16_t number;
    std::uint8_t generator;
};

// Level 2 numbers; those of level 1 are among them.
constexpr Destination kDestinations[] = {
    {destination::kGain, gen::Attenuation},
    {destination::kPitch, gen::FineTune},
    {destination::kPan, gen::Pan},
    {destination::kChorus, gen::Chorus},
    {destination::kReverb, gen::Reverb},
    {0x104, gen::ModLfoFrequency},
    {0x105, gen::ModLfoDelay},
    {0x114, gen::VibLfoFrequency},
    {0x115, gen::VibLfoDelay},
    {0x206, gen::VolEnvAttack},
    {0x207, gen::VolEnvDecay},
    {0x209, gen::VolEnvRelease},
    {0x20A, gen::VolEnvSustain},
    {0x20B, gen::VolEnvDelay},
    {0x20C, gen::VolEnvHold},
    {0x30A, gen::ModEnvAttack},
    {0x30B, gen::ModEnvDecay},
    {0x30D, gen::ModEnvRelease},
    {0x30E, gen::ModEnvSustain},
    {0x30F, gen::ModEnvDelay},
    {0x310, gen::ModEnvHold},
    {destination::kCutoff, gen::Cutoff},
    {0x501, gen::Resonance},
};

// The depths of LFOs and the modulation envelope.
struct Depth {
    std::uint16_t source;
    std::uint16_t destination;
    std::uint8_t generator;
};
constexpr Depth kDepths[] = {
    {source::kLfo, destination::kPitch, gen::ModLfoToPitch},
    {source::kLfo, destination::kGain, gen::ModLfoToVolume},
    {source::kLfo, destination::kCutoff, gen::ModLfoToCutoff},
    {source::kVibrato, destination::kPitch, gen::VibLfoToPitch},
    {source::kModEnvelope, destination::kPitch, gen::ModEnvToPitch},
    {source::kModEnvelope, destination::kCutoff, gen::ModEnvToCutoff},
};

constexpr std::uint8_t kNoGenerator = 0xFF;

std::uint8_t generatorOf(std::uint16_t number) {
    for (const Destination& each : kDestinations) {
        if (each.number == number)
            return each.generator;
    }
    return kNoGenerator;
}

std::uint8_t depthOf(std::uint16_t from, std::uint16_t number) {
    for (const Depth& each : kDepths) {
        if (each.source == from && each.destination == number)
            return each.generator;
    }
    return kNoGenerator;
}

bool isGenerator(std::uint16_t number) {
    return number == source::kLfo || number == source::kVibrato || number == source::kModEnvelope;
}

BankSource controllerOf(std::uint16_t number) {
    switch (number) {
        case source::kNone:
            return BankSource::Constant;
        case source::kVelocity:
            return BankSource::Velocity;
        case source::kKey:
            return BankSource::Key;
        case source::kBend:
            return BankSource::Bend;
        case source::kPolyPressure:
            return BankSource::PolyPressure;
        case source::kChannelPressure:
            return BankSource::ChannelPressure;
        case source::kWheel:
            return BankSource::Wheel;
        case source::kVolume:
            return BankSource::Volume;
        case source::kExpression:
            return BankSource::Expression;
        case source::kPan:
            return BankSource::Pan;
        case source::kReverb:
            return BankSource::Reverb;
        case source::kChorus:
            return BankSource::Chorus;
        default:
            return BankSource::Other;
    }
}

bool isTime(std::uint8_t number) {
    switch (number) {
        case gen::ModLfoDelay:
        case gen::VibLfoDelay:
        case gen::ModEnvDelay:
        case gen::ModEnvAttack:
        case gen::ModEnvHold:
        case gen::ModEnvDecay:
        case gen::ModEnvRelease:
        case gen::VolEnvDelay:
        case gen::VolEnvAttack:
        case gen::VolEnvHold:
        case gen::VolEnvDecay:
        case gen::VolEnvRelease:
            return true;
        default:
            return false;
    }
}

double amountOf(const DlsConnection& connection) {
    return connection.scale / 65536.0;
}

// The connection as a controller that moves a generator; source Other when it is none.
BankModulation modulationOf(const DlsConnection& connection) {
    BankModulation result;
    const bool depth = isGenerator(connection.source);
    const std::uint16_t controller = depth ? connection.control : connection.source;
    result.generator =
        depth ? depthOf(connection.source, connection.destination) : generatorOf(connection.destination);
    result.source = controllerOf(controller);
    result.amount = amountOf(connection);
    if (!depth && connection.source == source::kBend && connection.control == source::kBendRange)
        result.source = BankSource::BendOverRange;
    else if (!depth && connection.control != source::kNone)
        result.source = BankSource::Other;
    if (connection.levelOne) {
        // The one transform that level 1 has, concave, is that of velocity to gain.
        result.curve = connection.transform == 1 ? SourceCurve::Concave : SourceCurve::Linear;
        result.falling = connection.transform == 1;
    } else if (depth) {
        result.curve = static_cast<SourceCurve>(connection.transform >> 4 & 3);
        result.bipolar = connection.transform & 0x100;
        result.falling = connection.transform & 0x200;
    } else {
        result.curve = static_cast<SourceCurve>(connection.transform >> 10 & 3);
        result.bipolar = connection.transform & kBipolarSource;
        result.falling = connection.transform & kInvertedSource;
    }
    // These two have a middle whatever a file says.
    if (result.source == BankSource::Pan || result.source == BankSource::Bend ||
        result.source == BankSource::BendOverRange)
        result.bipolar = true;
    if (result.source == BankSource::Pan)
        result.amount = std::clamp(result.amount, -500.0, 500.0);
    if (!depth && connection.destination == destination::kGain)
        result.amount = -result.amount;  // gain here, attenuation there
    return result;
}

bool isKeyToPitch(const DlsConnection& connection) {
    return connection.source == source::kKey && connection.control == source::kNone &&
           connection.destination == destination::kPitch;
}

bool isConstant(const DlsConnection& connection) {
    return connection.control == source::kNone &&
           (connection.source == source::kNone || isGenerator(connection.source));
}

// A value or a depth that nothing controls.
void applyConstant(const DlsConnection& connection, BankVoice& voice) {
    const double amount = amountOf(connection);
    if (connection.source != source::kNone) {
        if (const std::uint8_t depth = depthOf(connection.source, connection.destination);
            depth != kNoGenerator)
            voice.values[depth] += amount;
        return;
    }
    const std::uint8_t number = generatorOf(connection.destination);
    if (connection.destination == destination::kGain)
        voice.gain += amount / 10;
    else if (connection.destination == destination::kShutdown)
        voice.shutdown = connection.scale == kAbsoluteZero ? 0 : secondsFromTimecents(amount);
    else if (number == gen::VolEnvSustain)
        voice.values[number] = std::clamp(1000 - amount, 0.0, 1000.0) * 0.96;
    else if (number == gen::ModEnvSustain)
        voice.values[number] = std::clamp(1000 - amount, 0.0, 1000.0);
    else if (number == gen::Cutoff && connection.scale == kOpen)
        voice.values[number] = 13500;
    else if (number == gen::FineTune || number == gen::Pan)
        voice.values[number] += amount;
    else if (number != kNoGenerator && isTime(number))
        voice.values[number] = connection.scale == kAbsoluteZero ? -12000 : amount;
    else if (number != kNoGenerator)
        voice.values[number] = amount;
}

// Level 1 has one LFO only; where it moves the pitch it is the vibrato of other banks.
void takeLfoAsVibrato(BankVoice& voice, std::vector<BankModulation>& modulations) {
    voice.values[gen::VibLfoToPitch] += voice.values[gen::ModLfoToPitch];
    voice.values[gen::ModLfoToPitch] = 0;
    voice.values[gen::VibLfoFrequency] = voice.values[gen::ModLfoFrequency];
    voice.values[gen::VibLfoDelay] = voice.values[gen::ModLfoDelay];
    for (BankModulation& modulation : modulations) {
        if (modulation.generator == gen::ModLfoToPitch)
            modulation.generator = gen::VibLfoToPitch;
    }
}

void replaceOrAdd(DlsConnections& list, const DlsConnection& connection) {
    const auto same = std::find_if(list.begin(), list.end(),
                                   [&](const DlsConnection& each) { return each.sameEnds(connection); });
    if (same != list.end())
        *same = connection;
    else if (list.size() < kMostConnections)
        list.push_back(connection);
}

}  // namespace

void addDlsConnections(std::span<const Byte> chunk, bool levelOne, DlsConnections& to) {
    constexpr std::size_t kRecord = 12;
    ByteReader reader(chunk);
    const std::uint32_t headerSize = reader.u32();
    const std::uint32_t count = reader.u32();
    if (headerSize > reader.position() && headerSize <= chunk.size())
        reader.seek(headerSize);
    for (std::uint32_t i = 0; i < count && reader.remaining() >= kRecord; ++i) {
        DlsConnection connection;
        connection.source = reader.u16();
        connection.control = reader.u16();
        connection.destination = reader.u16();
        connection.transform = reader.u16();
        connection.scale = reader.s32();
        connection.levelOne = levelOne;
        replaceOrAdd(to, connection);
    }
}

void addDlsConnections(const DlsConnections& from, DlsConnections& to) {
    for (const DlsConnection& connection : from)
        replaceOrAdd(to, connection);
}

DlsConnections defaultDlsConnections() {
    constexpr std::int32_t kUnit = 65536;
    constexpr std::uint16_t kLoudness = kInvertedSource | kConcaveSource;
    return {
        {source::kVelocity, 0, destination::kGain, kLoudness, -960 * kUnit, false},
        {source::kVolume, 0, destination::kGain, kLoudness, -960 * kUnit, false},
        {source::kExpression, 0, destination::kGain, kLoudness, -960 * kUnit, false},
        {source::kPan, 0, destination::kPan, kBipolarSource, 500 * kUnit, false},
        {source::kReverb, 0, destination::kReverb, 0, 1000 * kUnit, false},
        {source::kChorus, 0, destination::kChorus, 0, 1000 * kUnit, false},
        {source::kBend, source::kBendRange, destination::kPitch, kBipolarSource, 12700 * kUnit, false},
        {source::kKey, 0, destination::kPitch, 0, 12800 * kUnit, false},
    };
}

ModulationFit dlsConnectionFit(const DlsConnection& connection) {
    if (isKeyToPitch(connection))
        return connection.transform == 0 ? ModulationFit::Same : ModulationFit::Straightened;
    if (isConstant(connection)) {
        const bool known = connection.source == source::kNone
                               ? generatorOf(connection.destination) != kNoGenerator ||
                                     connection.destination == destination::kShutdown
                               : depthOf(connection.source, connection.destination) != kNoGenerator;
        return known ? ModulationFit::Same : ModulationFit::None;
    }
    return modulationFit(modulationOf(connection));
}

void applyDlsConnections(const DlsConnections& connections, BankVoice& voice,
                         std::vector<BankModulation>& modulations) {
    constexpr double kFiveHertz = -851.3, kTenMilliseconds = -7972.6;  // what the LFOs start from
    voice.envelopeRange = 96;
    GeneratorValues& values = voice.values;
    values.fill(0);
    values[gen::Cutoff] = 13500;
    values[gen::ForcedKey] = values[gen::ForcedVelocity] = values[gen::RootKey] = -1;
    for (const gen::Number frequency : {gen::ModLfoFrequency, gen::VibLfoFrequency})
        values[frequency] = kFiveHertz;
    for (std::uint8_t number = 0; number < gen::kCount; ++number) {
        if (isTime(number))
            values[number] = -12000;
    }
    values[gen::ModLfoDelay] = values[gen::VibLfoDelay] = kTenMilliseconds;

    modulations.clear();
    bool levelOne = false, vibrato = false;
    for (const DlsConnection& connection : connections) {
        levelOne = levelOne || connection.levelOne;
        vibrato = vibrato || connection.source == source::kVibrato ||
                  generatorOf(connection.destination) == gen::VibLfoFrequency;
        if (isKeyToPitch(connection))
            values[gen::ScaleTuning] = amountOf(connection) / 128;
        else if (isConstant(connection))
            applyConstant(connection, voice);
        else if (dlsConnectionFit(connection) != ModulationFit::None)
            modulations.push_back(modulationOf(connection));
    }
    if (levelOne && !vibrato)
        takeLfoAsVibrato(voice, modulations);
}

}  // namespace velor
