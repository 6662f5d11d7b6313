// Hostile SoundFont and DLS banks. The first byte says what the rest is: a file of one of the two kinds, or
// the nine record lists of a SoundFont (a length of two bytes before each) around which a sound file is
// built, so that the lists are reached however the bytes change. What a reader accepts must decode and
// serialise.
#include <cstdlib>
#include <vector>

#include "base/error.h"
#include "formats/framework/format_table.h"
#include "formats/framework/pipeline.h"
#include "formats/sampler/dls_reader.h"
#include "formats/sampler/soundfont_reader.h"

using namespace velor;

namespace {

using Bytes = std::vector<Byte>;

void append(Bytes& to, std::string_view id, const Bytes& payload) {
    to.insert(to.end(), id.begin(), id.end());
    for (int shift = 0; shift < 32; shift += 8)
        to.push_back(static_cast<Byte>(payload.size() >> shift));
    to.insert(to.end(), payload.begin(), payload.end());
    if (payload.size() & 1)
        to.push_back(0);
}

Bytes list(std::string_view form, const Bytes& chunks) {
    Bytes payload(form.begin(), form.end());
    payload.insert(payload.end(), chunks.begin(), chunks.end());
    return payload;
}

Bytes bankAround(std::span<const Byte> lists) {
    Bytes records, samples, whole;
    for (const char* id : {"phdr", "pbag", "pmod", "pgen", "inst", "ibag", "imod", "igen", "shdr"}) {
        std::size_t size = 0;
        if (lists.size() >= 2) {
            size = std::min<std::size_t>(lists[0] + 256u * lists[1], lists.size() - 2);
            lists = lists.subspan(2);
        }
        append(records, id, Bytes(lists.begin(), lists.begin() + static_cast<std::ptrdiff_t>(size)));
        lists = lists.subspan(size);
    }
    append(samples, "smpl", Bytes(400, 1));
    append(whole, "LIST", list("sdta", samples));
    append(whole, "LIST", list("pdta", records));
    Bytes file;
    append(file, "RIFF", list("sfbk", whole));
    return file;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2)
        return -1;
    UserInterface quiet;
    PipelineServices services;
    services.ui = &quiet;
    Collection collection;
    const bool dls = data[0] % 3 == 0;
    const std::span<const Byte> rest(data + 1, size - 1);
    OpenFile file;
    file.path = dls ? "bank.dls" : "bank.sf2";
    file.input =
        File::fromBytes(data[0] % 3 == 1 ? bankAround(rest) : Bytes(rest.begin(), rest.end()), file.path);
    file.ui = &quiet;
    LastErrorText.clear();
    if (!(dls ? readDls(collection, file, 0) : readSoundFont(collection, file, 2))) {
        if (LastErrorText.empty())
            std::abort();  // a failure has a message
        return 0;
    }
    if (!fixUpCollection(collection, kAllKinds, true, services))
        return 0;
    for (const ItemKind kind : kContainedKinds) {
        for (const ItemId id : collection.list(kind)) {
            Item& item = *collection.find(id);
            if (kind == ItemKind::Waveform)
                static_cast<Waveform&>(item).loadSamples();
            std::vector<Byte> bytes(item.serializedSize());
            ByteWriter writer(bytes);
            item.serialize(writer);
            if (!writer.ok())
                std::abort();
        }
    }
    return 0;
}
