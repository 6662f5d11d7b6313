#include <cstdio>
#include <cstring>

#include "app/cli/cli.h"
#include "platform/console.h"

int main(int argc, char** argv) {
    // Scripts ask for the version often; nothing else needs to be set up for it.
    if (argc == 2 && (std::strcmp(argv[1], "--version") == 0 || std::strcmp(argv[1], "-V") == 0)) {
        std::puts(velor::cli::kVersionLine);
        return 0;
    }
    std::vector<std::string> arguments = velor::commandLine(argc, argv);
    if (!arguments.empty())
        arguments.erase(arguments.begin());
    return velor::cli::runCommandLine(std::move(arguments));
}
