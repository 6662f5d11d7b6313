// The machine-readable outputs. All texts are valid UTF-8 whatever the files held. One object per line, so
// that documents can be built piece by piece and read by people too.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "app/processing/catalogue.h"
#include "formats/framework/format_table.h"
#include "items/item.h"

namespace velor {
class Collection;
}

namespace velor::cli {

struct ConvertResult;
struct FileReport;

// A document {"version":1, …} whose last field `name` is the list of the given objects.
class JsonListDocument {
  public:
    explicit JsonListDocument(std::string_view name) : name_(name) {}
    // A number that stands before the list.
    void addField(std::string_view name, long long value);
    void addField(std::string_view name, bool value);
    void add(std::string_view object);
    std::string text() const;

  private:
    std::string name_;
    std::string fields_;
    std::string objects_;
};

// One line of --progress=json, with its line end.
std::string progressLine(std::string_view event, std::string_view file, std::size_t index, std::size_t count,
                         double share);

std::string formatObject(int row);
// What `info` found; `collection` is nullptr when the file could not be read.
std::string infoObject(const FileReport& report, const Collection* collection, const NoteNaming& naming);
std::string identifyObject(const FileReport& report, bool explained,
                           const std::vector<IdentificationCandidate>& candidates);
// One setting; all values as texts, as the settings verb prints them.
std::string settingObject(std::string_view key, std::string_view value, std::string_view standard,
                          std::string_view meaning);

// A process of a catalogue with its settings.
std::string processObject(ProcessFlavour flavour, const ProcessRow& row);

std::string convertObject(const ConvertResult& result);
// The inverse of convertObject, for results that come from a worker process. False for anything else.
bool convertResultFromText(std::string_view text, ConvertResult& result);

}  // namespace velor::cli
