// The text form of a settings file, apart from any disk: one `name = value` a line, for people to edit.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace velor {

// Lines that begin with # or ; are comments. A value is the rest of its line without blanks around it; one
// that begins with a quotation mark ends at the next, and in it \\ \" \n \r \t \xHH stand for other
// characters. Everything that is not changed here, comments and lines that make no sense included, stays as
// it was.
class SettingsFile {
  public:
    // Larger ones are refused: nobody writes that many settings.
    static constexpr std::size_t kMostBytes = std::size_t{1} << 20;
    static constexpr std::size_t kMostLines = 20'000;
    static constexpr std::size_t kMostProblems = 100;
    static constexpr std::string_view kTooLarge = "The settings file is too large";

    struct Entry {
        std::string name;
        std::string value;
        std::size_t line = 0;  // counted from 1
    };

    // Reads a whole file's text in place of what was here. Fails with "The settings file is too large".
    bool parse(std::string_view text);
    std::string print() const;

    // All entries in the order of their lines. Of several with one name the last one counts.
    std::vector<Entry> entries() const;
    // "line 7: expected name = value", a line each.
    const std::vector<std::string>& problems() const { return problems_; }

    // Changes the last entry of that name, or adds one at the end. Entries without a change stay as written.
    void set(std::string_view name, std::string_view value);
    void remove(std::string_view name);
    // Adds a comment at the end, each line of it after a "# ".
    void addComment(std::string_view text);

    // Letters, digits, dots, dashes and underscores.
    static bool isName(std::string_view name);
    // The value as it stands in a line: bare where that is enough, else in quotation marks.
    static std::string quote(std::string_view value);

  private:
    struct Line {
        std::string text;  // without the line end
        std::string name;  // empty for anything but an entry
        std::string value;
    };

    std::vector<Line> lines_;
    std::vector<std::string> problems_;
};

}  // namespace velor
