// Identification and opening of any bytes under any extension, then everything a user does next: look at the
// items, decode the samples, serialise, and write what was read through a few rows.
// The input is one byte that picks the extension, then the file.
#include "base/error.h"
#include "formats/framework/fix_ups.h"
#include "formats/framework/format_table.h"
#include "formats/framework/pipeline.h"
#include "formats/framework/raw_codec.h"

using namespace velor;

namespace {

// Answers "OK" to every question, so that unrecognised bytes are read as raw data too.
class Willing final : public UserInterface {
  public:
    std::size_t ask(const Question&) override { return 0; }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2)
        return 0;
    // Every readable row whose reader is built, picked by the first byte; the rest come by their contents.
    static const std::vector<std::string> extensions = [] {
        std::vector<std::string> list{"unknown"};
        for (int row = 1; row < kFormatRows; ++row) {
            if (readerBuilt(row))
                list.emplace_back(rowExtension(row));
        }
        return list;
    }();
    resetRawAnswers();
    const std::string name = "fuzz." + extensions[data[0] % extensions.size()];
    const auto file = File::fromBytes(std::vector<Byte>(data + 1, data + size), name);

    Willing ui;
    PipelineServices services;
    services.ui = &ui;
    services.load.autoBid2Fwd = services.load.autoAppend32 = data[0] & 0x80;
    services.load.autoSplitStereo = data[0] & 0x40;
    Collection collection;
    if (!openInput(collection, file, name, true, services)) {
        if (LastErrorText.empty())
            __builtin_trap();  // a failure without a message
        return 0;
    }
    for (const ItemKind kind : kContainedKinds) {
        for (const ItemId id : collection.list(kind)) {
            Item& item = *collection.find(id);
            (void)item.summary(NoteNaming{});
            if (kind == ItemKind::Waveform)
                static_cast<Waveform&>(item).loadSamples();
            std::vector<Byte> bytes(item.serializedSize());
            ByteWriter writer(bytes);
            item.serialize(writer);
            Collection copy;
            ByteReader reader(std::span<const Byte>(bytes).subspan(4));
            Item* restored = copy.create(kind, item.id().serial(), "");
            if (!writer.ok() || !restored || !restored->deserialize(reader))
                __builtin_trap();  // what was read can not be saved
        }
    }
    removeDuplicateWaveforms(collection, ui);
    return 0;
}
