// The synthesis settings of an instrument, a layer or a region.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "base/byte_reader.h"
#include "base/byte_writer.h"
#include "items/articulation_table.h"

namespace velor {

// A record of parameters addressed by number. It holds only what is set at its level, in number order.
class Articulation {
  public:
    using Entry = std::pair<std::uint16_t, float>;

    bool empty() const { return values_.empty(); }
    bool has(std::uint16_t parameter) const;
    // The value set at this level, or `fallback`.
    float get(std::uint16_t parameter, float fallback) const;
    void set(std::uint16_t parameter, float value);
    void unset(std::uint16_t parameter);
    void clear() { values_.clear(); }
    const std::vector<Entry>& entries() const { return values_; }

    // True and `value` when the parameter is set at this level to a finite number; others count as not set.
    bool setting(std::uint16_t parameter, float& value) const;

    // True for the numbers that records hold: those of the table without its separators, and the trigger
    // settings 189 to 191. What a region uses instead of its waveform's values (202 to 207) is kept
    // elsewhere.
    static bool holds(std::uint16_t parameter);
    // Brings a record from a file into order: values that are not finite are dropped, and numbers that
    // records do not hold.
    void fixUp();

    std::size_t serializedSize() const { return 4 + values_.size() * 6; }
    void serialize(ByteWriter& to) const;
    bool deserialize(ByteReader& from);

    friend bool operator==(const Articulation&, const Articulation&) = default;

  private:
    std::vector<Entry> values_;
};

// What a voice plays: the values of the three levels combined (see Combination), defaults where nothing is
// set. A level that does not exist is nullptr. Numbers above the table are ignored.
ArticulationValues resolveArticulation(const Articulation* instrument, const Articulation* layer,
                                       const Articulation* region);

// True when it makes no difference to any region which of two records stands between `above` (nullptr for
// none) and the region; trigger settings count too.
bool soundsAlike(const Articulation* above, const Articulation& a, const Articulation& b);

}  // namespace velor
