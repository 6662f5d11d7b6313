#include "items/synth_model.h"

#include "base/error.h"

namespace velor {

const char* SynthModel::modelName() const {
    switch (static_cast<SynthModelType>(modelType)) {
        case SynthModelType::Fm:
            return "FM";
        case SynthModelType::La:
            return "LA";
    }
    return "?";
}

std::size_t SynthModel::serializedSize() const {
    return Item::serializedSize() + 4 + 4 + parameters.size();
}

void SynthModel::serialize(ByteWriter& to) const {
    Item::serialize(to);
    to.u32(modelType);
    to.u32(static_cast<std::uint32_t>(parameters.size()));
    to.bytes(parameters);
}

bool SynthModel::deserialize(ByteReader& from) {
    if (!Item::deserialize(from))
        return false;
    modelType = from.u32();
    const auto bytes = from.bytes(from.u32());
    parameters.assign(bytes.begin(), bytes.end());
    return from.ok();
}

std::string SynthModel::summary(const NoteNaming&) const {
    return formatText("%s-synthesis model", modelName());
}

}  // namespace velor
