#include "formats/framework/probes/text_probe.h"

#include <algorithm>

namespace velor::probe {

namespace {

// How far a root element may lie behind the start: licence comments are long, but not longer.
constexpr std::size_t kPrologLimit = 4096;

bool printable(Byte c) {
    return c >= 0x20 && c <= 0x7E;
}

// Position behind `text` from `from` on; npos when it does not occur.
std::size_t behind(std::string_view in, std::string_view text, std::size_t from) {
    const std::size_t found = in.find(text, from);
    return found == std::string_view::npos ? found : found + text.size();
}

}  // namespace

bool isText(Head head, std::size_t offset, std::size_t count) {
    if (offset > head.size() || head.size() - offset < count)
        return false;
    const Head part = head.subspan(offset, count);
    return std::all_of(part.begin(), part.end(), printable);
}

bool isPaddedText(Head head, std::size_t offset, std::size_t count) {
    if (offset > head.size() || head.size() - offset < count)
        return false;
    const Head part = head.subspan(offset, count);
    const auto end = std::find_if_not(part.begin(), part.end(), printable);
    return std::all_of(end, part.end(), [](Byte c) { return c == 0; });
}

bool isZero(Head head, std::size_t offset, std::size_t count) {
    if (offset > head.size() || head.size() - offset < count)
        return false;
    const Head part = head.subspan(offset, count);
    return std::all_of(part.begin(), part.end(), [](Byte c) { return c == 0; });
}

RootElement rootElement(Head head) {
    const unsigned first = u8(head, 0);
    if (first != '<' && first != 0xEF && first != ' ' && first != '\t' && first != '\r' && first != '\n')
        return {};
    const std::string_view text = asText(head.first(std::min(head.size(), kPrologLimit)));
    std::size_t position = text.starts_with("\xEF\xBB\xBF") ? 3 : 0;
    for (;;) {
        position = skipBlanks(text, position);
        if (position == text.size() || text[position] != '<')
            return {};
        const std::string_view tag = text.substr(position);
        if (tag.starts_with("<?"))
            position = behind(text, "?>", position);
        else if (tag.starts_with("<!--"))
            position = behind(text, "-->", position);
        else if (tag.starts_with("<!"))
            position = behind(text, ">", position);
        else
            break;
        if (position == std::string_view::npos)
            return {};
    }
    const std::size_t end = text.find_first_of(" \t\r\n/>", position + 1);
    if (end == std::string_view::npos)
        return {};
    return {text.substr(position + 1, end - position - 1), end};
}

std::string_view localName(std::string_view name) {
    const std::size_t colon = name.find(':');
    return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

}  // namespace velor::probe
