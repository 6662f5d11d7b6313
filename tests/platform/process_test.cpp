// Children are this test program itself: an environment variable turns it into one before the tests begin.
#include "platform/process.h"

#include <gtest/gtest.h>

#include "test_tools.h"

#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <thread>

#include "base/error.h"
#include "platform/console.h"
#include "platform/file.h"
#include "platform/folders.h"

namespace velor {

namespace {

namespace fs = std::filesystem;

constexpr const char* kRole = "VELOR_TEST_CHILD";
constexpr std::size_t kFloodBytes = 3'000'000;

ChildOptions childOf(const std::string& role) {
    ChildOptions options;
    options.program = executablePath();
    options.environment = {{kRole, role}};
    options.captureOutput = options.captureErrors = true;
    return options;
}

[[noreturn]] void leave(int code) {
    std::fflush(nullptr);
    std::_Exit(code);
}

[[noreturn]] void playRole(const std::string& role, const std::vector<std::string>& arguments) {
    useBinaryStream(StandardStream::Output);
    useBinaryStream(StandardStream::Errors);
    if (role == "report") {
        for (std::size_t i = 1; i < arguments.size(); ++i)
            std::printf("%s|", arguments[i].c_str());
        std::fprintf(stderr, "%s|%s|%d", utf8FromPath(currentFolder().filename()).c_str(),
                     environmentVariable("VELOR_TEST_EXTRA").c_str(), std::getchar());
        leave(3);
    }
    if (role == "flood") {
        const std::string piece(1000, 'x');
        for (std::size_t i = 0; i < kFloodBytes; i += piece.size()) {
            std::fputs(piece.c_str(), stdout);
            std::fputs(piece.c_str(), stderr);
        }
        leave(0);
    }
    if (role == "crash") {
#ifdef _WIN32
        std::_Exit(static_cast<int>(0xC0000005u));
#else
        std::raise(SIGKILL);
#endif
    }
    if (role == "interrupt") {
        installInterruptHandler();
        std::raise(SIGTERM);
        std::fputs(interruptRequested() ? "asked" : "lost", stdout);
        std::fflush(stdout);
        std::raise(SIGTERM);
        leave(0);
    }
    if (role == "parent") {
        ChildOptions grandchild = childOf("stay");
        grandchild.captureOutput = grandchild.captureErrors = false;
        grandchild.arguments = {arguments.at(1)};
        std::fputs(ChildProcess::start(grandchild).release() ? "started" : LastErrorText.c_str(), stdout);
        leave(0);
    }
    // "stay": until the file named is gone.
    std::fputs("staying", stdout);
    std::fflush(stdout);
    while (arguments.size() < 2 || fs::exists(pathFromUtf8(arguments[1])))
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    leave(0);
}

// The loader hands the arguments to such functions on Linux; on Windows commandLine() needs none.
__attribute__((constructor)) void becomeChild(int argc, char** argv) {
    if (const char* role = std::getenv(kRole))
        playRole(role, commandLine(argc, argv));
}

TEST(ChildProcess, PassesArgumentsFolderAndEnvironmentUnchanged) {
    const fs::path folder = tempFolder() / pathFromUtf8("velor ünïcode " + test::uniqueName());
    fs::create_directories(folder);
    ChildOptions options = childOf("report");
    options.arguments = {"plain",  "",      "two words", "quote\"d",   "back\\slash\\",
                         "end \\", "*.cpp", "?",         "naïve–日本", "--key=a b"};
    options.folder = folder;
    options.environment.emplace_back("VELOR_TEST_EXTRA", "é=1");
    const auto child = ChildProcess::start(options);
    ASSERT_TRUE(child) << LastErrorText;
    ASSERT_TRUE(child->wait());
    std::string expected;
    for (const std::string& argument : options.arguments)
        expected += argument + '|';
    EXPECT_EQ(child->readOutput(), expected);
    EXPECT_EQ(child->readErrors(), utf8FromPath(folder.filename()) + "|é=1|-1");
    EXPECT_EQ(child->exitCode(), 3);
    EXPECT_EQ(child->outcome(), "exit code 3");
    fs::remove(folder);
}

TEST(ChildProcess, NeverStandsStillForLackOfAReader) {
    const auto child = ChildProcess::start(childOf("flood"));
    ASSERT_TRUE(child) << LastErrorText;
    ASSERT_TRUE(child->wait());
    EXPECT_EQ(child->readOutput().size(), kFloodBytes);
    EXPECT_EQ(child->readErrors().size(), kFloodBytes);
    EXPECT_EQ(child->exitCode(), 0);
}

TEST(ChildProcess, TellsCrashesFromExits) {
    const auto crashed = ChildProcess::start(childOf("crash"));
    ASSERT_TRUE(crashed && crashed->wait());
    EXPECT_FALSE(crashed->exitCode());

    const auto killed = ChildProcess::start(childOf("stay"));
    ASSERT_TRUE(killed);
    EXPECT_FALSE(killed->wait(0));
    EXPECT_EQ(killed->outcome(), "still running");
    killed->kill();
    ASSERT_TRUE(killed->wait());
    EXPECT_FALSE(killed->exitCode());
#ifdef _WIN32
    EXPECT_EQ(crashed->outcome(), "crashed (exception 0xC0000005)");
    EXPECT_EQ(killed->outcome(), "crashed (exception 0xC000013A)");
#else
    EXPECT_EQ(crashed->outcome(), "crashed (signal 9)");
    EXPECT_EQ(killed->outcome(), "crashed (signal 9)");
#endif
    killed->kill();  // harmless now
}

TEST(ChildProcess, WaitsForWhicheverHasNews) {
    const auto staying = ChildProcess::start(childOf("stay"));
    ASSERT_TRUE(staying);
    const std::array<ChildProcess*, 1> alone{staying.get()};
    ASSERT_EQ(ChildProcess::waitForAny(alone), 0);
    // Text streams in while the program runs.
    EXPECT_EQ(staying->readOutput().substr(0, 1), "s");
    EXPECT_FALSE(staying->ended());

    std::vector<std::unique_ptr<ChildProcess>> workers;
    for (int i = 0; i < 4; ++i)
        workers.push_back(ChildProcess::start(childOf("flood")));
    std::vector<ChildProcess*> running{staying.get()};
    for (const auto& worker : workers)
        running.push_back(worker.get());
    std::size_t gathered = 0, finished = 0;
    while (finished < workers.size()) {
        const auto which = ChildProcess::waitForAny(running);
        ASSERT_GE(which, 0);
        ChildProcess* const child = running[static_cast<std::size_t>(which)];
        const bool over = child->ended();
        const std::string text = child->readOutput();
        child->readErrors();
        if (child == staying.get())
            continue;
        gathered += text.size();
        if (over) {
            ++finished;
            running.erase(running.begin() + which);
        }
    }
    EXPECT_EQ(gathered, workers.size() * kFloodBytes);
    EXPECT_EQ(ChildProcess::waitForAny({}), -1);
}

TEST(ChildProcess, EndsThoughAGrandchildHoldsItsOutput) {
    const fs::path mark = tempFolder() / ("velor-mark-" + test::uniqueName());
    std::ofstream(mark).put('x');
    ChildOptions options = childOf("parent");
    options.arguments = {utf8FromPath(mark)};
    const auto child = ChildProcess::start(options);
    ASSERT_TRUE(child);
    EXPECT_TRUE(child->wait(60'000));
    EXPECT_NE(child->readOutput().find("started"), std::string::npos);
    fs::remove(mark);
}

TEST(ChildProcess, FailsWithTheProgramsNameAndAReason) {
    ChildOptions options;
    options.program = tempFolder() / "velor-no-such-program";
    EXPECT_FALSE(ChildProcess::start(options));
    EXPECT_EQ(LastErrorText.find("Could not start " + utf8FromPath(options.program) + ": "), 0u)
        << LastErrorText;
#ifdef _WIN32
    options.program = "editor.cmd";
    EXPECT_FALSE(ChildProcess::start(options));
    EXPECT_NE(LastErrorText.find("batch file"), std::string::npos);
#endif
}

#ifndef _WIN32
TEST(Console, TheFirstInterruptAsksTheSecondEnds) {
    const auto child = ChildProcess::start(childOf("interrupt"));
    ASSERT_TRUE(child && child->wait());
    EXPECT_EQ(child->readOutput(), "asked");
    EXPECT_EQ(child->outcome(), "crashed (signal 15)");
}
#endif

}  // namespace

}  // namespace velor
