#!/usr/bin/env bash
# The scripts in tools/: what the floor check accepts and reports.
set -uo pipefail
root=$(cd -P -- "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
place=$(mktemp -d) || exit 1
trap 'rm -rf "$place"' EXIT
status=0

# A tree with one file that has one include line; the check must take it or complain about it.
floors() {
    local expected=$1 file=$2 line=$3 actual=good
    rm -rf "$place/src"
    mkdir -p "$place/src/$(dirname "$file")"
    printf '#pragma once\n%s\n' "$line" >"$place/src/$file"
    local words
    words=$("$root/tools/check-floors" "$place" 2>&1) || actual=bad
    [[ $actual == good || $words == "src/$file:"* ]] || actual="bad without the place: $words"
    if [[ $actual != "$expected" ]]; then
        printf 'check-floors: %s with %s: expected %s, got %s\n' "$file" "$line" "$expected" "$actual"
        status=1
    fi
}

floors good items/a.h '#include "base/text.h"'
floors bad items/a.h '#include "platform/file.h"'
floors bad base/a.h '#include "items/item.h"'
floors good dsp/a.cpp '#include "base/text.h"'
floors bad dsp/a.cpp '# include "synth/engine.h"'
floors good formats/core/a.cpp '#include "formats/framework/open_file.h"'
floors bad formats/framework/a.cpp '#include "formats/core/wave.h"'
floors bad formats/framework/a.cpp '#include "formats/format_rows.h"'
floors bad formats/core/a.cpp '#include "formats/sampler/a.h"'
floors good formats/sampler/a.cpp '#include "formats/core/wave.h"'
floors bad formats/sampler/a.cpp '#include "formats/codecs/a.h"'
floors good formats/format_rows.cpp '#include "formats/sampler/a.h"'
floors good formats/framework/probes/a.cpp '#include "formats/framework/probes/b.h"'
floors bad app/a.cpp '#include "app/cli/cli.h"'
floors good app/gui/a.cpp '#include "formats/framework/format_table.h"'
floors bad app/cli/a.cpp '#include "app/gui/frame.h"'
floors bad nowhere/a.cpp '#include <vector>'
floors good platform/posix/a.cpp '#include <sys/stat.h>'
floors good platform/win32/a.cpp '#include <windows.h>'
floors bad platform/a.cpp '#include <windows.h>'
floors bad items/a.cpp '#include <unistd.h>'
floors bad app/cli/a.cpp '#include <sys/ioctl.h>'
floors bad app/a.cpp '#include "platform/posix/a.h"'
floors good items/a.cpp '#include <vector>  // not <windows.h>'
floors good app/cli/a.cpp '#include <CLI/CLI.hpp>'
floors bad app/cli/a.cpp '#include <wx/wx.h>'
floors bad items/a.cpp '#include "../base/text.h"'

# tools/run: nothing on stdout but the program's own words, and no words from a build that has
# nothing to do.
from_tool=$(cd "$place" && "$root/tools/run" --version 2>"$place/words")
from_program=$("$root/build/release/velor" --version)
if [[ ! $from_program || $from_tool != "$from_program" || -s $place/words ]]; then
    printf 'tools/run: printed "%s" and, on stderr, "%s"\n' "$from_tool" "$(<"$place/words")"
    status=1
fi
exit $status
