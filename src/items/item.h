// The common part of everything a Collection holds.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/byte_reader.h"
#include "base/byte_writer.h"
#include "base/printf_format.h"
#include "items/item_id.h"
#include "items/item_links.h"

namespace velor {

class Collection;

// How keys are shown: as note names with the octave of middle C (MIDI note 60), or as numbers.
struct NoteNaming {
    bool names = true;
    int octaveOfMiddleC = 4;
};

// "C4", "F#3", or "60" without names. The note is 0..127.
std::string noteName(std::uint8_t note, const NoteNaming& naming);
// "m:ss.mmm", from one hour on "h:mm:ss.mmm". Negative or undefined times show as zero.
std::string timeText(double seconds);

// Working lists that one fix-up pass shares among the items it visits.
struct FixUpLists {
    std::uint32_t danglingLinks = 0;  // links to items that do not exist, removed
    std::uint32_t clampedRanges = 0;  // ranges, loops and numbers brought back within their limits
};

class Item {
  public:
    virtual ~Item() = default;
    Item(const Item&) = delete;
    Item& operator=(const Item&) = delete;

    ItemId id() const { return id_; }
    ItemKind kind() const { return id_.kind(); }
    // Raw 8-bit text, as the file had it.
    const std::string& name() const { return name_; }
    // The Collection that holds the item; a Collection is its own owner.
    Collection& owner() const { return *owner_; }

    // Writes the item's whole state, beginning with its ItemId; exactly serializedSize() bytes.
    virtual void serialize(ByteWriter& to) const;
    // The inverse, reading from after the ItemId. False when the bytes are not a valid item; the item is then
    // in a valid but unspecified state.
    virtual bool deserialize(ByteReader& from);
    virtual std::size_t serializedSize() const;
    // Brings what a reader or an editor left into a consistent state. Called for every item after a load.
    virtual void fixUp(FixUpLists& lists);
    // A name ends at its first NUL, as it does in the files it comes from and goes to.
    virtual void setName(std::string_view name);
    // The one-line description that the status bar shows.
    virtual std::string summary(const NoteNaming& naming) const = 0;

    VELOR_PRINTF_FORMAT(2, 3)
    void setNameFormatted(const char* format, ...);

    ItemLinks links;

  protected:
    Item(Collection& owner, ItemId id) : id_(id), owner_(&owner) {}

    static std::size_t textSize(std::string_view text) {
        return 4 + text.size();
    }
    static void writeText(ByteWriter& to, std::string_view text);
    static bool readText(ByteReader& from, std::string& text);
    // Removes links that do not resolve in the owner or whose kind is not in `allowedKinds`.
    void dropBadLinks(std::uint8_t allowedKinds, FixUpLists& lists);

  private:
    friend class Collection;

    ItemId id_;
    std::string name_;
    Collection* owner_;
};

}  // namespace velor
