#include "formats/sampler/bank_articulation.h"

#include <algorithm>
#include <cmath>

#include "items/region_parameters.h"

namespace velor {

namespace {

namespace gen = generator;
namespace par = parameter;
namespace env = parameter::envelope;

// How a parameter counts its controller.
enum class Shape : std::uint8_t {
    FromZero,       // depth at the full controller
    Centred,        // depth at either end, 0 in the middle
    PerOctave,      // amount per octave of the key, 0 at key 60
    PerKeyRange,    // amount over all 128 keys, 0 at key 60
    TimeQuotient,   // time at the highest velocity over the time at the lowest
    TimePerOctave,  // factor of the time per octave of the key, 1 at key 60
};

struct Route {
    BankSource source;
    std::uint8_t generator;
    std::uint16_t parameter;
    double unit;  // of the parameter, in units of the generator
    Shape shape;
};

constexpr double kCents = 0.01, kCentibels = 0.1;
constexpr auto kPressure = BankSource::ChannelPressure;

// Every modulation that has a parameter of its own. Rows of the P-envelope stand for the F-envelope too. Not
// here, because the player does them itself: volume (7) and expression (11), and with rules of their own
// velocity to attenuation and the pitch wheel.
// clang-format off
constexpr Route kRoutes[] = {
    {BankSource::Wheel, gen::VibLfoToPitch, par::WheelToPLfoToPitch, kCents, Shape::FromZero},
    {kPressure, gen::VibLfoToPitch, par::PressureToPLfoToPitch, kCents, Shape::FromZero},
    {BankSource::Velocity, gen::VibLfoToPitch, par::VelocityToPLfoToPitch, kCents, Shape::Centred},
    {BankSource::Wheel, gen::ModLfoToPitch, par::WheelToXLfoToPitch, kCents, Shape::FromZero},
    {kPressure, gen::ModLfoToPitch, par::PressureToXLfoToPitch, kCents, Shape::FromZero},
    {BankSource::Velocity, gen::ModLfoToPitch, par::VelocityToXLfoToPitch, kCents, Shape::Centred},
    {BankSource::Velocity, gen::ModEnvToPitch, par::VelocityToPEnvToPitch, kCents, Shape::Centred},
    {BankSource::Velocity, gen::Cutoff, par::VelocityToCutoff, kCents, Shape::Centred},
    {BankSource::Key, gen::Cutoff, par::KeyToCutoff, kCents, Shape::PerKeyRange},
    {BankSource::Wheel, gen::Cutoff, par::WheelToCutoff, kCents, Shape::FromZero},
    {kPressure, gen::Cutoff, par::PressureToCutoff, kCents, Shape::FromZero},
    {BankSource::Wheel, gen::ModLfoToCutoff, par::WheelToFLfoToCutoff, kCents, Shape::FromZero},
    {kPressure, gen::ModLfoToCutoff, par::PressureToFLfoToCutoff, kCents, Shape::FromZero},
    {BankSource::Velocity, gen::ModLfoToCutoff, par::VelocityToFLfoToCutoff, kCents, Shape::Centred},
    {BankSource::Velocity, gen::ModEnvToCutoff, par::VelocityToFEnvToCutoff, kCents, Shape::Centred},
    {BankSource::Velocity, gen::Resonance, par::VelocityToResonance, kCentibels, Shape::FromZero},
    {BankSource::Wheel, gen::Resonance, par::WheelToResonance, kCentibels, Shape::FromZero},
    {kPressure, gen::Resonance, par::PressureToResonance, kCentibels, Shape::FromZero},
    {BankSource::Wheel, gen::ModLfoToVolume, par::WheelToVLfoToVolume, kCentibels, Shape::FromZero},
    {kPressure, gen::ModLfoToVolume, par::PressureToVLfoToVolume, kCentibels, Shape::FromZero},
    {BankSource::Velocity, gen::ModLfoToVolume, par::VelocityToVLfoToVolume, kCentibels, Shape::Centred},
    {BankSource::Wheel, gen::Attenuation, par::WheelToVolume, -kCentibels, Shape::FromZero},
    {kPressure, gen::Attenuation, par::PressureToVolume, -kCentibels, Shape::FromZero},
    {BankSource::Key, gen::Attenuation, par::KeyToVolume, -kCentibels, Shape::PerOctave},
    {BankSource::Key, gen::Pan, par::KeyToPan, 1 / 500.0, Shape::PerOctave},
    {BankSource::Pan, gen::Pan, par::Cc10ToPan, 1 / 500.0, Shape::Centred},
    {BankSource::Reverb, gen::Reverb, par::Cc91ToSend1, 1 / 1000.0, Shape::FromZero},
    {BankSource::Chorus, gen::Chorus, par::Cc93ToSend3, 1 / 1000.0, Shape::FromZero},
    {BankSource::Velocity, gen::VolEnvDelay, par::VEnvelope + env::Attack1Time + 1, 1, Shape::TimeQuotient},
    {BankSource::Velocity, gen::VolEnvAttack, par::VEnvelope + env::Attack2Time + 1, 1, Shape::TimeQuotient},
    {BankSource::Velocity, gen::VolEnvHold, par::VEnvelope + env::Decay1Time + 1, 1, Shape::TimeQuotient},
    {BankSource::Velocity, gen::VolEnvDecay, par::VEnvelope + env::Decay2Time + 1, 1, Shape::TimeQuotient},
    {BankSource::Velocity, gen::VolEnvRelease, par::VEnvelope + env::VelocityToRelease, 1, Shape::TimeQuotient},
    {BankSource::Key, gen::VolEnvDelay, par::VEnvelope + env::Attack1Time + 2, 1, Shape::TimePerOctave},
    {BankSource::Key, gen::VolEnvAttack, par::VEnvelope + env::Attack2Time + 2, 1, Shape::TimePerOctave},
    {BankSource::Key, gen::VolEnvHold, par::VEnvelope + env::Decay1Time + 2, 1, Shape::TimePerOctave},
    {BankSource::Key, gen::VolEnvDecay, par::VEnvelope + env::Decay2Time + 2, 1, Shape::TimePerOctave},
    {BankSource::Key, gen::VolEnvRelease, par::VEnvelope + env::KeyToRelease, 1, Shape::TimePerOctave},
    {BankSource::Velocity, gen::ModEnvDelay, par::PEnvelope + env::Attack1Time + 1, 1, Shape::TimeQuotient},
    {BankSource::Velocity, gen::ModEnvAttack, par::PEnvelope + env::Attack2Time + 1, 1, Shape::TimeQuotient},
    {BankSource::Velocity, gen::ModEnvHold, par::PEnvelope + env::Decay1Time + 1, 1, Shape::TimeQuotient},
    {BankSource::Velocity, gen::ModEnvDecay, par::PEnvelope + env::Decay2Time + 1, 1, Shape::TimeQuotient},
    {BankSource::Velocity, gen::ModEnvRelease, par::PEnvelope + env::VelocityToRelease, 1, Shape::TimeQuotient},
    {BankSource::Key, gen::ModEnvDelay, par::PEnvelope + env::Attack1Time + 2, 1, Shape::TimePerOctave},
    {BankSource::Key, gen::ModEnvAttack, par::PEnvelope + env::Attack2Time + 2, 1, Shape::TimePerOctave},
    {BankSource::Key, gen::ModEnvHold, par::PEnvelope + env::Decay1Time + 2, 1, Shape::TimePerOctave},
    {BankSource::Key, gen::ModEnvDecay, par::PEnvelope + env::Decay2Time + 2, 1, Shape::TimePerOctave},
    {BankSource::Key, gen::ModEnvRelease, par::PEnvelope + env::KeyToRelease, 1, Shape::TimePerOctave},
};
// clang-format on

const Route* findRoute(const BankModulation& modulation) {
    const BankSource source =
        modulation.source == BankSource::PolyPressure ? BankSource::ChannelPressure : modulation.source;
    for (const Route& route : kRoutes) {
        if (route.source == source && route.generator == modulation.generator)
            return &route;
    }
    return nullptr;
}

bool isPitch(std::uint8_t number) {
    return number == gen::FineTune || number == gen::CoarseTune;
}

// The amount in cents or semitones, whichever tune it moves, as semitones.
double semitones(std::uint8_t tune, double amount) {
    return tune == gen::CoarseTune ? amount : amount / 100;
}

bool isVelocityToVolume(const BankModulation& modulation) {
    return modulation.source == BankSource::Velocity && modulation.generator == gen::Attenuation;
}

// Curves of SoundFont 2.04, section 9.5, over 0..1.
double curved(SourceCurve curve, double x) {
    const auto concave = [](double y) {
        return y >= 1 ? 1.0 : std::clamp(-40.0 / 96 * std::log10(1 - y), 0.0, 1.0);
    };
    switch (curve) {
        case SourceCurve::Concave:
            return concave(x);
        case SourceCurve::Convex:
            return 1 - concave(1 - x);
        case SourceCurve::Switch:
            return x >= 0.5 ? 1 : 0;
        default:
            return x;
    }
}

// The modulation's contribution when its controller stands at `x` of 0..1.
double contribution(const BankModulation& modulation, double x) {
    double value = modulation.falling ? 1 - x : x;
    if (modulation.bipolar) {
        value = 2 * value - 1;
        value = value < 0 ? -curved(modulation.curve, -value) : curved(modulation.curve, value);
    } else {
        value = curved(modulation.curve, value);
    }
    value *= modulation.amount;
    return modulation.absolute ? std::fabs(value) : value;
}

// The amplitude of an attenuation.
double centibels(double level) {
    return std::pow(10, -level / 200);
}

constexpr double kMiddleVelocity = 64 / 127.0;

class Builder {
  public:
    explicit Builder(const BankVoice& voice) : voice_(voice), generators_(voice.values), gain_(voice.gain) {
        const ArticulationValues& defaults = defaultArticulation();
        std::copy(defaults.begin(), defaults.end(), values_.begin());
        // What is a modulator there is the default of a parameter here, and has to be asked for.
        for (const std::uint16_t number :
             {par::VelocityToVolume, par::BendToPitch, par::Cc10ToPan, par::Cc91ToSend1, par::Cc93ToSend3})
            values_[number] = 0;
        forcedVelocity_ = generators_[gen::ForcedVelocity];
    }

    void modulate(std::span<const BankModulation> modulations) {
        for (const BankModulation& modulation : modulations) {
            if (modulation.source != BankSource::PolyPressure || !alsoByChannel(modulation, modulations))
                modulate(modulation);
        }
    }

    void build() {
        buildPitch();
        buildVolume();
        buildFilter();
        buildLfos();
        values_[par::PanPosition] = generators_[gen::Pan] / 500;
        values_[par::Send1] = generators_[gen::Reverb] / 1000;
        values_[par::Send3] = generators_[gen::Chorus] / 1000;
        buildVolumeEnvelope();
        buildModEnvelope(par::PEnvelope, used({par::PEnvToPitch, par::VelocityToPEnvToPitch}));
        buildModEnvelope(par::FEnvelope, used({par::FEnvToCutoff, par::VelocityToFEnvToCutoff}));
    }

    void store(Articulation& to, LimitedValues& limited) const {
        const ArticulationValues& defaults = defaultArticulation();
        for (std::uint16_t number = 0; number < kArticulationParameters; ++number) {
            const double value = values_[number];
            if (std::fabs(value - defaults[number]) <= 1e-6 * std::max(1.0, std::fabs(value)))
                continue;
            const ArticulationParameter& row = *articulationParameter(number);
            const double inRange =
                std::clamp<double>(value, static_cast<double>(row.minimum), static_cast<double>(row.maximum));
            // A time of 8000 timecents is 101.6 s, and one of 100 s sounds no different.
            limited[number] += std::fabs(inRange - value) > 0.02 * std::fabs(value);
            if (static_cast<float>(inRange) != defaults[number])
                to.set(number, static_cast<float>(inRange));
        }
        const double exclusive = generators_[gen::ExclusiveClass];
        if (exclusive >= 1)
            to.set(par::ExclusiveClass, static_cast<float>(std::min(exclusive, 127.0)));
    }

  private:
    // Both kinds of pressure move one controller of ours; banks that react to both ask for it twice.
    static bool alsoByChannel(const BankModulation& poly, std::span<const BankModulation> modulations) {
        return std::any_of(modulations.begin(), modulations.end(), [&](const BankModulation& other) {
            return other.source == BankSource::ChannelPressure && other.generator == poly.generator &&
                   other.amount != 0;
        });
    }

    bool used(std::initializer_list<std::uint16_t> numbers) const {
        return std::any_of(numbers.begin(), numbers.end(),
                           [this](std::uint16_t number) { return values_[number] != 0; });
    }

    void modulate(const BankModulation& modulation) {
        if (modulationFit(modulation) == ModulationFit::None || modulation.amount == 0)
            return;
        const std::uint8_t target = modulation.generator;
        if (modulation.source == BankSource::Constant) {
            offset(target, contribution(modulation, 1));
        } else if (modulation.source == BankSource::Velocity && forcedVelocity_ >= 0) {
            offset(target, contribution(modulation, std::min(forcedVelocity_, 127.0) / 127));
        } else if (isVelocityToVolume(modulation)) {
            // Of other curves than the concave one, the strength at the middle velocity counts.
            const BankModulation concave{
                BankSource::Velocity, SourceCurve::Concave, true, false, false, gen::Attenuation, 1};
            const double at = modulation.falling ? kMiddleVelocity : 1 - kMiddleVelocity;
            const double depth = modulation.curve == SourceCurve::Concave
                                     ? modulation.amount
                                     : contribution(modulation, at) / contribution(concave, kMiddleVelocity);
            values_[par::VelocityToVolume] += (modulation.falling ? depth : -depth) / 10;
        } else if (modulation.source == BankSource::BendOverRange) {
            // The range is 2 semitones until a song sets another one.
            values_[par::BendToPitch] += semitones(target, modulation.amount) * 2 / 127;
        } else if (modulation.source == BankSource::Bend) {
            values_[par::BendToPitch] += semitones(target, modulation.amount);
        } else if (const Route* route = findRoute(modulation)) {
            apply(*route, contribution(modulation, 0), contribution(modulation, 1));
        }
    }

    // `low` and `high`: what the ends of the controller contribute.
    void apply(const Route& route, double low, double high) {
        const double range = high - low;
        double& value = values_[route.parameter];
        const auto scaleTime = [&](double timecents) {
            const double factor = std::exp2(timecents / 1200);
            value *= factor;
            if (route.parameter >= par::PEnvelope && route.parameter < par::FEnvelope)
                values_[route.parameter + (par::FEnvelope - par::PEnvelope)] *= factor;
        };
        switch (route.shape) {
            case Shape::FromZero:
                offset(route.generator, low);
                value += range * route.unit;
                break;
            case Shape::Centred:
                offset(route.generator, (low + high) / 2);
                value += range / 2 * route.unit;
                break;
            case Shape::PerOctave:
                offset(route.generator, low + range * 60 / 128);
                value += range * 12 / 128 * route.unit;
                break;
            case Shape::PerKeyRange:
                offset(route.generator, low + range * 60 / 128);
                value += range * route.unit;
                break;
            case Shape::TimeQuotient:
                offset(route.generator, (low + high) / 2);
                scaleTime(range);
                break;
            case Shape::TimePerOctave:
                offset(route.generator, low + range * 60 / 128);
                scaleTime(range * 12 / 128);
                break;
        }
    }

    void offset(std::uint8_t target, double amount) {
        if (target == gen::Attenuation)
            gain_ -= amount / 10;  // players scale the generator, not its modulators
        else
            generators_[target] += amount;
    }

    void buildPitch() {
        values_[par::MasterTuning] = generators_[gen::CoarseTune] + generators_[gen::FineTune] / 100;
        values_[par::KeyToPitch] = generators_[gen::ScaleTuning] / 100;
        if (generators_[gen::ForcedKey] >= 0) {
            values_[par::MasterTuning] +=
                (generators_[gen::ForcedKey] - voice_.rootKey) * values_[par::KeyToPitch];
            values_[par::KeyToPitch] = 0;
        }
        values_[par::PEnvToPitch] = generators_[gen::ModEnvToPitch] / 100;
    }

    void buildVolume() {
        values_[par::MasterVolume] = gain_ - generators_[gen::Attenuation] * voice_.attenuationShare / 10;
    }

    void buildFilter() {
        values_[par::FLfoToCutoff] = generators_[gen::ModLfoToCutoff] / 100;
        values_[par::FEnvToCutoff] = generators_[gen::ModEnvToCutoff] / 100;
        const bool moves =
            used({par::VelocityToCutoff, par::KeyToCutoff, par::WheelToCutoff, par::PressureToCutoff,
                  par::FLfoToCutoff, par::WheelToFLfoToCutoff, par::PressureToFLfoToCutoff,
                  par::VelocityToFLfoToCutoff, par::FEnvToCutoff, par::VelocityToFEnvToCutoff,
                  par::VelocityToResonance, par::WheelToResonance, par::PressureToResonance});
        constexpr double kOpen = 13500;
        if (!moves && generators_[gen::Cutoff] >= kOpen && generators_[gen::Resonance] <= 0)
            return;
        values_[par::FilterTypeCode] = static_cast<double>(FilterType::LowPass12);
        values_[par::Cutoff] = hertzFromCents(std::min(generators_[gen::Cutoff], kOpen));
        values_[par::Resonance] = generators_[gen::Resonance] / 10;
    }

    void setLfo(std::uint16_t lfo, double cents, double delay) {
        values_[lfo + par::lfo::Shape] = static_cast<double>(LfoShape::Triangle);
        // Below a swing in 100 seconds the slowest one will do.
        values_[lfo + par::lfo::Frequency] = std::max(hertzFromCents(cents), 0.01);
        values_[lfo + par::lfo::Delay] = secondsFromTimecents(delay);
    }

    // The modulation LFO goes wherever it is used; unused ones stay as they are by default.
    void buildLfos() {
        values_[par::PLfoToPitch] = generators_[gen::VibLfoToPitch] / 100;
        values_[par::XLfoToPitch] = generators_[gen::ModLfoToPitch] / 100;
        values_[par::VLfoToVolume] = generators_[gen::ModLfoToVolume] / 10;
        const auto modLfo = [this](std::uint16_t lfo) {
            setLfo(lfo, generators_[gen::ModLfoFrequency], generators_[gen::ModLfoDelay]);
        };
        if (used({par::PLfoToPitch, par::WheelToPLfoToPitch, par::PressureToPLfoToPitch,
                  par::VelocityToPLfoToPitch}))
            setLfo(par::PLfo, generators_[gen::VibLfoFrequency], generators_[gen::VibLfoDelay]);
        if (used({par::XLfoToPitch, par::WheelToXLfoToPitch, par::PressureToXLfoToPitch,
                  par::VelocityToXLfoToPitch}))
            modLfo(par::XLfo);
        if (used({par::VLfoToVolume, par::WheelToVLfoToVolume, par::PressureToVLfoToVolume,
                  par::VelocityToVLfoToVolume}))
            modLfo(par::VLfo);
        if (used({par::FLfoToCutoff, par::WheelToFLfoToCutoff, par::PressureToFLfoToCutoff,
                  par::VelocityToFLfoToCutoff}))
            modLfo(par::FLfo);
    }

    // A time that the key shortens: timecents per key below 60 to a factor per octave upwards.
    void setTime(std::uint16_t row, double timecents, double range, double timecentsPerKey) {
        if (generators_[gen::ForcedKey] >= 0)
            timecents += (60 - generators_[gen::ForcedKey]) * timecentsPerKey;
        const double seconds = secondsFromTimecents(timecents) * range;
        values_[row] = seconds;
        if (generators_[gen::ForcedKey] < 0 && seconds > 0)
            values_[row + 2u] *= std::exp2(-12 * timecentsPerKey / 1200);
    }

    void setStages(std::uint16_t block, std::uint8_t delay, double decayRange) {
        values_[block + env::Attack1Time] = secondsFromTimecents(generators_[delay]);
        values_[block + env::Attack2Time] = secondsFromTimecents(generators_[delay + 1u]);
        setTime(block + env::Decay1Time, generators_[delay + 2u], 1, generators_[delay + 6u]);
        setTime(block + env::Decay2Time, generators_[delay + 3u], decayRange, generators_[delay + 7u]);
    }

    void buildVolumeEnvelope() {
        if (voice_.shutdown >= 0)
            values_[par::VEnvelope + env::ShutdownRate] = voice_.shutdown;
        const double silent = voice_.envelopeRange * 10;  // centibels
        const double sustain = std::max(generators_[gen::VolEnvSustain], 0.0);
        const bool toSilence = sustain >= silent;
        // Falling to 0 is falling by 100 dB.
        const double toHundred = 100 / voice_.envelopeRange;
        setStages(par::VEnvelope, gen::VolEnvDelay, toSilence ? toHundred : sustain / silent);
        values_[par::VEnvelope + env::SustainLevel] = toSilence ? 0 : centibels(sustain);
        values_[par::VEnvelope + env::Release1Rate] =
            secondsFromTimecents(generators_[gen::VolEnvRelease]) * toHundred;
    }

    void buildModEnvelope(std::uint16_t block, bool isUsed) {
        if (!isUsed) {
            for (std::uint16_t row = 0; row < env::Rows; ++row)
                values_[block + row] = defaultArticulation()[block + row];
            return;
        }
        const double fall = std::clamp(generators_[gen::ModEnvSustain] / 1000, 0.0, 1.0);
        setStages(block, gen::ModEnvDelay, fall);
        values_[block + env::SustainLevel] = 1 - fall;
        values_[block + env::Release1Rate] = secondsFromTimecents(generators_[gen::ModEnvRelease]);
    }

    const BankVoice& voice_;
    GeneratorValues generators_;
    std::array<double, kArticulationParameters> values_{};
    double gain_;  // dB
    double forcedVelocity_ = -1;
};

}  // namespace

double secondsFromTimecents(double timecents) {
    return timecents <= -12000 ? 0 : std::exp2(timecents / 1200);
}

double hertzFromCents(double cents) {
    return 440 * std::exp2((cents - 6900) / 1200);
}

ModulationFit modulationFit(const BankModulation& modulation) {
    if (modulation.generator >= gen::kCount || modulation.source == BankSource::Other)
        return ModulationFit::None;
    if (modulation.source == BankSource::Constant)
        return ModulationFit::Same;
    if (modulation.curve == SourceCurve::Switch || (modulation.absolute && modulation.bipolar))
        return ModulationFit::None;
    switch (modulation.source) {
        case BankSource::Volume:
        case BankSource::Expression:
            // The player's own curve, which is this one.
            return modulation.generator == gen::Attenuation && modulation.curve == SourceCurve::Concave &&
                           modulation.falling && !modulation.bipolar && modulation.amount == 960
                       ? ModulationFit::Same
                       : ModulationFit::None;
        case BankSource::Bend:
        case BankSource::BendOverRange:
            return isPitch(modulation.generator) && modulation.bipolar &&
                           modulation.curve == SourceCurve::Linear && !modulation.falling
                       ? ModulationFit::Same
                       : ModulationFit::None;
        default:
            break;
    }
    const bool straight = modulation.curve == SourceCurve::Linear;
    if (isVelocityToVolume(modulation)) {
        if (modulation.bipolar || modulation.amount < 0)
            return ModulationFit::None;
        return modulation.curve == SourceCurve::Concave ? ModulationFit::Same : ModulationFit::Straightened;
    }
    if (!findRoute(modulation))
        return ModulationFit::None;
    return straight ? ModulationFit::Same : ModulationFit::Straightened;
}

void foldTuning(BankVoice& voice) {
    constexpr double kMost = 48;  // semitones
    GeneratorValues& values = voice.values;
    const double tuning = values[gen::CoarseTune] + values[gen::FineTune] / 100;
    const double perKey = values[gen::ScaleTuning] / 100;
    if (std::fabs(tuning) <= kMost || perKey <= 0 || values[gen::ForcedKey] >= 0)
        return;
    const double keys = std::ceil((std::fabs(tuning) - kMost) / perKey);
    const double root = voice.rootKey + (tuning < 0 ? keys : -keys);
    if (root < 0 || root > 127)
        return;
    values[gen::CoarseTune] += (tuning < 0 ? keys : -keys) * perKey;
    voice.rootKey = static_cast<int>(root);
}

void setBankArticulation(const BankVoice& voice, std::span<const BankModulation> modulations,
                         Articulation& to, LimitedValues& limited) {
    Builder builder(voice);
    builder.modulate(modulations);
    builder.build();
    builder.store(to, limited);
}

std::string limitedValuesText(const LimitedValues& limited) {
    std::uint32_t total = 0;
    std::string names;
    for (std::uint16_t number = 0; number < limited.size(); ++number) {
        if (limited[number] == 0)
            continue;
        total += limited[number];
        names += (names.empty() ? "" : ", ") + std::string(articulationParameter(number)->name);
    }
    if (total == 0)
        return {};
    return std::to_string(total) + (total == 1 ? " value is" : " values are") +
           " out of range and limited: " + names;
}

}  // namespace velor
