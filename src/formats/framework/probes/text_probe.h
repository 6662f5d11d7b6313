// Helpers of the probes for text and XML formats. All of them look at the first byte before anything else, so
// a binary file costs one comparison.
#pragma once

#include "formats/framework/probes/probe_tools.h"

namespace velor::probe {

inline std::string_view asText(Head head) {
    return {reinterpret_cast<const char*>(head.data()), head.size()};
}

// True when `count` bytes at `offset` are there and all printable ASCII (blank to tilde).
bool isText(Head head, std::size_t offset, std::size_t count);
// The same, where NULs may pad the end.
bool isPaddedText(Head head, std::size_t offset, std::size_t count);
bool isZero(Head head, std::size_t offset, std::size_t count);

// Offset of the first character at or after `from` that is no blank, tab or line end; the size when none is.
// (A plain loop: the standard searches for one of a set call a function for each character.)
inline std::size_t skipBlanks(std::string_view text, std::size_t from) {
    while (from < text.size() &&
           (text[from] == ' ' || text[from] == '\n' || text[from] == '\r' || text[from] == '\t'))
        ++from;
    return from;
}
// Offset of the next line end (CR or LF); the size when there is none. Searches in blocks, so that a text
// with one kind of line end only is not scanned to its end for the other at every line.
inline std::size_t lineEnd(std::string_view text, std::size_t from) {
    constexpr std::size_t kBlock = 128;
    for (; from < text.size(); from += kBlock) {
        const std::string_view block = text.substr(from, kBlock);
        const std::size_t feed = block.find('\n');
        const std::size_t carriage = block.substr(0, feed).find('\r');
        if (carriage != std::string_view::npos)
            return from + carriage;
        if (feed != std::string_view::npos)
            return from + feed;
    }
    return text.size();
}

struct RootElement {
    std::string_view name;       // with its namespace prefix; empty when the text is not XML
    std::size_t attributes = 0;  // offset behind the name
};
// The root element of an XML text: behind the byte order mark, the declaration, comments and a document type.
// UTF-8 and other ASCII supersets only.
RootElement rootElement(Head head);
// The name without its namespace prefix.
std::string_view localName(std::string_view name);

}  // namespace velor::probe
