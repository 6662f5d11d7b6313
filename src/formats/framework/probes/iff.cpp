#include "formats/framework/probes/iff.h"

namespace velor::probe {

int aiff(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(isForm(head, "AIFF"));
}

int aiffCompressed(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(isForm(head, "AIFC"));
}

int amigaSample(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(isForm(head, "8SVX") || isForm(head, "16SV"));
}

int maud(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(isForm(head, "MAUD"));
}

namespace {

enum class Bank { None, Found, OutOfSight };

bool isXmidi(Head head) {
    // "CAT " alone occurs when the directory form was stripped.
    return has(head, 0, "FORM") ? has(head, 8, "XDIR") || has(head, 8, "XMID")
                                : has(head, 0, "CAT ") && has(head, 8, "XMID");
}

// Walks the top-level chunks (directory, songs, bank: three, a few more do no harm) for the wrapped bank.
Bank findBank(Head head, std::uint64_t fileSize) {
    std::uint64_t at = 0;
    for (int chunk = 0; chunk < 8 && at + 12 <= fileSize; ++chunk) {
        if (at + 12 > head.size())
            return Bank::OutOfSight;
        const auto offset = static_cast<std::size_t>(at);
        if (has(head, offset, "FORM") && has(head, offset + 8, "XDLS"))
            return Bank::Found;
        const std::uint64_t size = be32(head, offset + 4);
        at += 8 + size + (size & 1);
    }
    return Bank::None;
}

}  // namespace

int xmidi(Head head, std::uint32_t, std::uint64_t fileSize) {
    if (!isXmidi(head))
        return kNo;
    return findBank(head, fileSize) == Bank::Found ? kLikely : kCertain;
}

int xmidiWithBank(Head head, std::uint32_t, std::uint64_t fileSize) {
    if (isForm(head, "XDLS"))
        return kCertain;
    if (!isXmidi(head))
        return kNo;
    switch (findBank(head, fileSize)) {
        case Bank::Found:
            return kCertain;
        case Bank::OutOfSight:
            return kLikely;
        case Bank::None:
            break;
    }
    return kWeak;
}

}  // namespace velor::probe
