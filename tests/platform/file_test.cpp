#include "platform/file.h"

#include <gtest/gtest.h>

#include <fstream>
#include <numeric>
#include <thread>

#include "base/error.h"
#include "test_tools.h"

namespace velor {
namespace {

namespace fs = std::filesystem;

struct FileTest : testing::Test {
    static void put(const fs::path& path, const std::string& text) {
        std::ofstream(path, std::ios::binary) << text;
    }
    static std::string contents(const fs::path& path) {
        const std::vector<Byte> bytes = test::readFile(path);
        return {bytes.begin(), bytes.end()};
    }
    static bool write(OutputFile& file, std::string_view text) {
        return file.write({reinterpret_cast<const Byte*>(text.data()), text.size()});
    }
    std::size_t filesInFolder() const { return test::filesIn(folder_.path()); }

    test::TemporaryFolder folder_;
};

TEST_F(FileTest, ReadsAnyPlaceAndStopsAtTheEnd) {
    const fs::path path = folder_ / "data";
    put(path, "0123456789");
    const auto file = File::open(path);
    ASSERT_TRUE(file);
    EXPECT_EQ(file->size(), 10u);

    struct Case {
        std::uint64_t offset;
        std::size_t wanted;
        std::string got;
    };
    for (const Case& c : {Case{0, 10, "0123456789"}, Case{7, 3, "789"}, Case{7, 9, "789"}, Case{10, 1, ""},
                          Case{0x1'0000'0003, 4, ""}, Case{~0ull, 2, ""}, Case{3, 2, "34"}}) {
        std::vector<Byte> to(c.wanted);
        const std::size_t got = file->readSome(c.offset, to);
        EXPECT_EQ(std::string(to.begin(), to.begin() + static_cast<std::ptrdiff_t>(got)), c.got) << c.offset;
        LastErrorText.clear();
        EXPECT_EQ(file->read(c.offset, to), c.got.size() == c.wanted) << c.offset;
        EXPECT_EQ(LastErrorText, c.got.size() == c.wanted ? "" : kReadFailed) << c.offset;
    }
}

TEST_F(FileTest, ManyReadersShareOneFile) {
    std::string text(1 << 16, '\0');
    std::iota(text.begin(), text.end(), '\0');
    put(folder_ / "data", text);
    const auto file = File::open(folder_ / "data");
    ASSERT_TRUE(file);
    std::vector<std::thread> readers;
    std::vector<int> wrong(4);
    for (int& mistakes : wrong)
        readers.emplace_back([&] {
            for (std::uint64_t offset = 0; offset < text.size(); offset += 61) {
                Byte byte = 0;
                mistakes += !file->read(offset, {&byte, 1}) || byte != static_cast<Byte>(offset);
            }
        });
    for (std::thread& reader : readers)
        reader.join();
    EXPECT_EQ(wrong, std::vector<int>(4));
}

TEST_F(FileTest, RefusesWhatIsNoFile) {
    EXPECT_FALSE(File::open(folder_.path()));
    EXPECT_EQ(LastErrorText, "Could not open file");
    EXPECT_FALSE(File::open(folder_ / "missing"));
    LastErrorText.clear();
    EXPECT_FALSE(OutputFile::create(folder_.path()));
    EXPECT_EQ(LastErrorText, "Could not create file");
    EXPECT_FALSE(OutputFile::create(folder_ / "missing" / "file"));
}

TEST_F(FileTest, AppearsOnlyWhenComplete) {
    const fs::path path = folder_ / "out";
    for (const char* before : {"", "older and longer"}) {
        if (*before)
            put(path, before);
        {
            auto file = OutputFile::create(path);
            ASSERT_TRUE(file);
            EXPECT_TRUE(write(*file, "half"));
            EXPECT_EQ(contents(path), before);
        }
        EXPECT_EQ(contents(path), before) << "an unfinished file took its name";
        EXPECT_EQ(filesInFolder(), *before ? 1u : 0u) << "something was left behind";

        auto file = OutputFile::create(path);
        ASSERT_TRUE(file);
        EXPECT_TRUE(write(*file, "size????data"));
        const Byte size[] = {'4', '.', '.', '.'};
        EXPECT_TRUE(file->rewrite(4, size));
        EXPECT_TRUE(write(*file, "more")) << "goes on at the end after a rewrite";
        EXPECT_EQ(file->size(), 16u);
        EXPECT_TRUE(file->commit());
        EXPECT_EQ(contents(path), "size4...datamore");
        EXPECT_EQ(filesInFolder(), 1u);
        fs::remove(path);
    }
}

TEST_F(FileTest, OpenFileStaysWholeWhenItIsReplaced) {
    const fs::path path = folder_ / "bank";
    put(path, "old contents");
    auto reading = File::open(path);
    ASSERT_TRUE(reading);
    auto writing = OutputFile::create(path);
    ASSERT_TRUE(writing && write(*writing, "new"));
    EXPECT_TRUE(writing->commit()) << LastErrorText;
    EXPECT_EQ(contents(path), "new");
    std::vector<Byte> bytes(12);
    ASSERT_TRUE(reading->read(0, bytes));
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), "old contents");
    reading.reset();
    EXPECT_EQ(filesInFolder(), 1u) << "the old file outlived its last reader";
}

TEST_F(FileTest, NamesAreUnicode) {
    for (const std::string name :
         {"plain.wav", "\xC3\xA4\xC3\xB6 \xE2\x99\xAB.wav", "\xF0\x9F\x8E\xB9.sf2"}) {
        const fs::path path = folder_.path() / pathFromUtf8(name);
        EXPECT_EQ(utf8FromPath(path.filename()), name);
        auto file = OutputFile::create(path);
        ASSERT_TRUE(file && write(*file, name) && file->commit()) << name;
        const auto read = File::open(path);
        ASSERT_TRUE(read) << name;
        EXPECT_EQ(read->size(), name.size());
    }
    EXPECT_EQ(filesInFolder(), 3u);
}

TEST_F(FileTest, KnowsOneFileByTwoNames) {
    put(folder_ / "a", "x");
    put(folder_ / "b", "x");
    fs::create_directory(folder_ / "sub");
    EXPECT_TRUE(sameFile(folder_ / "a", folder_ / "sub" / ".." / "a"));
    EXPECT_FALSE(sameFile(folder_ / "a", folder_ / "b"));
    EXPECT_FALSE(sameFile(folder_ / "a", folder_ / "missing"));
    EXPECT_FALSE(sameFile(folder_ / "missing", folder_ / "missing"));
}

#ifndef _WIN32
TEST_F(FileTest, WritesThroughLinksAndKeepsPermissions) {
    put(folder_ / "real", "old");
    fs::permissions(folder_ / "real", fs::perms::owner_read | fs::perms::owner_write);
    fs::create_symlink("real", folder_ / "link");
    auto file = OutputFile::create(folder_ / "link");
    ASSERT_TRUE(file && write(*file, "new") && file->commit());
    EXPECT_TRUE(fs::is_symlink(folder_ / "link"));
    EXPECT_EQ(contents(folder_ / "real"), "new");
    EXPECT_EQ(fs::status(folder_ / "real").permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(FileTest, WritesDevicesInPlace) {
    auto file = OutputFile::create("/dev/null");
    ASSERT_TRUE(file && write(*file, "gone") && file->commit());
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
    auto full = OutputFile::create("/dev/full");
    ASSERT_TRUE(full);
    EXPECT_FALSE(write(*full, "no room"));
    EXPECT_EQ(LastErrorText, kWriteFailed);
    EXPECT_FALSE(full->commit());
}
#endif

TEST(FormatText, SpeaksTheStandardDialect) {
    EXPECT_EQ(formatText("%zu %lld %llx %.3f %s", std::size_t{7}, -1234567890123LL, 0xFEDCBA9876543210ULL,
                         0.5, "x"),
              "7 -1234567890123 fedcba9876543210 0.500 x");
}

}  // namespace
}  // namespace velor
