// A synthesis model that can be rendered to waveforms.
#pragma once

#include <vector>

#include "items/item.h"

namespace velor {

enum class SynthModelType : std::uint32_t { Fm = 0, La = 1 };

class SynthModel final : public Item {
  public:
    std::uint32_t modelType = 0;  // SynthModelType; other values come from damaged files and show as "?"
    // The model's own parameters, in the layout of the format that created it.
    std::vector<Byte> parameters;

    const char* modelName() const;  // "FM", "LA" or "?"

    void serialize(ByteWriter& to) const override;
    bool deserialize(ByteReader& from) override;
    std::size_t serializedSize() const override;
    std::string summary(const NoteNaming& naming) const override;

  private:
    friend class Collection;
    SynthModel(Collection& owner, ItemId id) : Item(owner, id) {}
};

}  // namespace velor
