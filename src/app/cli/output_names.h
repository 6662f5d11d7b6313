// How output files are named.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

namespace velor::cli {

// A name that every system accepts for a file, Windows too: no reserved characters or device names, no dot or
// blank at the end, at most `longest` bytes. Never empty.
std::string legalFileName(std::string_view name, std::size_t longest = 120);

// What the fields of a name template stand for.
struct NameFields {
    std::string stem;
    std::size_t index = 1;  // from 1
    std::string name;       // of the item, for display
    std::string extension;
};

inline constexpr const char* kDefaultNameTemplate = "{stem}_{index:03}_{name}.{ext}";

// Fills a template: {stem}, {index}, {index:03} (at least three digits), {name} (made legal), {ext}.
std::string fillTemplate(std::string_view nameTemplate, const NameFields& fields);
// A message when the template has an unknown or unfinished field or a character that no file name may have,
// else empty.
std::string checkTemplate(std::string_view nameTemplate);

// "kick.wav" → "kick_2.wav" for number 2.
std::filesystem::path numberedPath(const std::filesystem::path& path, std::size_t number);

// Equal for names that this system takes for the same file, whether that exists or not.
std::string pathKey(const std::filesystem::path& path);

}  // namespace velor::cli
