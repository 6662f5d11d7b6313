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
