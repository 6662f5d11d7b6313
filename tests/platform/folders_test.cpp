#include "platform/folders.h"

#include <gtest/gtest.h>

#include "test_tools.h"

#include <vector>

#include "base/error.h"
#include "platform/file.h"
#include "platform/file_types.h"
#include "platform/memory.h"
#include "platform/process.h"

#ifndef _WIN32
#include <cstdlib>
#endif

namespace velor {

namespace {

namespace fs = std::filesystem;

TEST(Folders, AreAbsoluteAndTheProgramIsInOne) {
    for (const fs::path& folder : {homeFolder(), configFolder(), dataFolder(), stateFolder(), tempFolder()})
        EXPECT_TRUE(folder.is_absolute()) << folder;
    EXPECT_TRUE(fs::is_regular_file(executablePath()));
    EXPECT_TRUE(fs::is_directory(tempFolder()));
#ifdef _WIN32
    EXPECT_TRUE(fs::is_regular_file(systemFolder() / "kernel32.dll"));
#else
    EXPECT_TRUE(systemFolder().empty());
#endif
}

TEST(Folders, ChangeOrStay) {
    const fs::path before = currentFolder();
    EXPECT_FALSE(changeCurrentFolder(tempFolder() / "velor-no-such-folder"));
    EXPECT_EQ(LastErrorText, "Could not change to the folder");
    EXPECT_EQ(currentFolder(), before);
    const fs::path folder = tempFolder() / pathFromUtf8("velor földer " + test::uniqueName());
    fs::create_directories(folder / "inside");
    EXPECT_TRUE(changeCurrentFolder(folder));
    EXPECT_TRUE(fs::is_directory("inside"));
    EXPECT_TRUE(changeCurrentFolder(before));
    fs::remove_all(folder);
}

#ifndef _WIN32
TEST(Folders, FollowTheXdgVariables) {
    const char* const old = std::getenv("XDG_CONFIG_HOME");
    const std::string saved = old ? old : "";
    ::setenv("XDG_CONFIG_HOME", "/somewhere/else", 1);
    EXPECT_EQ(configFolder(), "/somewhere/else");
    for (const char* invalid : {"", "relative/folder"}) {
        ::setenv("XDG_CONFIG_HOME", invalid, 1);
        EXPECT_EQ(configFolder(), homeFolder() / ".config") << invalid;
    }
    if (old)
        ::setenv("XDG_CONFIG_HOME", saved.c_str(), 1);
    else
        ::unsetenv("XDG_CONFIG_HOME");
}
#endif

TEST(FileTypes, UnknownExtensionsHaveNoDescription) {
    for (const char* extension : {"velor-unheard-of", "", "..\\x", "\\"})
        EXPECT_FALSE(registeredFileType(extension)) << extension;
}

#ifdef _WIN32
TEST(FileTypes, DescriptionsComeFromTheRegistry) {
    const auto reg = [](std::vector<std::string> arguments) {
        const auto child = ChildProcess::start({.program = "reg",
                                                .arguments = std::move(arguments),
                                                .folder = {},
                                                .environment = {},
                                                .captureOutput = true});
        return child && child->wait() && child->exitCode() == 0;
    };
    const std::string classes = "HKCR\\";
    const struct {
        std::string className, text;
        bool found;
    } cases[] = {
        {"VelorTest.File", "Vélor test file", true},
        {"VelorTest.File", std::string(80, 'x'), true},
        {"VelorTest.File", std::string(81, 'x'), false},
        {std::string(65, 'c'), "Text", false},
    };
    for (const auto& one : cases) {
        if (!reg({"add", classes + ".velortest", "/ve", "/d", one.className, "/f"}))
            GTEST_SKIP() << "this user may not register file types";
        ASSERT_TRUE(reg({"add", classes + one.className, "/ve", "/d", one.text, "/f"}));
        const auto text = registeredFileType("velortest");
        EXPECT_EQ(text.value_or("none"), one.found ? one.text : "none");
        reg({"delete", classes + ".velortest", "/f"});
        reg({"delete", classes + one.className, "/f"});
    }
}
#endif

TEST(Memory, PeakGrowsWithUseAndTheHintChangesNothing) {
    const std::size_t before = peakResidentBytes();
    ASSERT_GT(before, 0u);
    std::vector<unsigned char> block(std::size_t{96} << 20, 7);
    adviseLargeBlock(block.data() + 1, block.size() - 2);
    adviseLargeBlock(block.data(), 10);
    adviseLargeBlock(nullptr, 0);
    EXPECT_EQ(block.front() + block[block.size() / 2] + block.back(), 21);
    EXPECT_GE(peakResidentBytes(), block.size());
    EXPECT_GE(peakResidentBytes(), before);
}

}  // namespace

}  // namespace velor
