# Shared by the tools: where the tree is, and building a preset without a word when there is nothing to build.
# Sourced by bash scripts in this folder.

tools=${BASH_SOURCE[0]%/*}
[[ $tools == "${BASH_SOURCE[0]}" ]] && tools=.
root=$(cd -P -- "$tools/.." && pwd)

say() {
    printf '%s\n' "$*" >&2
}

die() {
    say "${0##*/}: $*"
    exit 1
}

# Tests and builds use every core; VELOR_JOBS says otherwise.
jobs=${VELOR_JOBS:-$(nproc 2>/dev/null || echo 2)}

# Passes a build's words on to stderr, but for those that say that nothing happened. On a terminal the progress
# stays on one line.
show_build() {
    local line open=
    while IFS= read -r line; do
        case $line in
            '[0/'*'] Re-checking globbed directories...' | 'ninja: no work to do.' | 'ninja: Entering directory'* | '-- '*) ;;
            '['[0-9]*/[0-9]*']'*)
                if [[ -t 2 ]]; then
                    printf '\r\033[K%.*s' "$((${COLUMNS:-80} - 1))" "$line" >&2
                    open=1
                else
                    say "$line"
                fi
                ;;
            *)
                [[ $open ]] && printf '\n' >&2
                open=
                say "$line"
                ;;
        esac
    done
    [[ $open ]] && printf '\r\033[K' >&2
    return 0
}

# build PRESET TARGET [CACHE-ARGUMENT...]: brings one target of build/PRESET up to date. The cache arguments are
# for a folder that is configured for the first time, or in which they do not hold yet.
build() {
    local preset=$1 target=$2 folder=$root/build/$1 argument fresh= configure=
    shift 2
    mkdir -p "$folder" || return 1
    # One build at a time in a folder; a second caller waits for the first.
    local lock
    exec {lock}>"$folder.lock" && flock "$lock" || return 1
    if [[ ! -f $folder/build.ninja || $root/CMakePresets.json -nt $folder/build.ninja ]]; then
        configure=1
    else
        for argument in "$@"; do
            grep -qxF -- "${argument#-D}" <(sed 's/:[A-Z]*=/=/' "$folder/CMakeCache.txt") || configure=1
        done
    fi
    # A folder that came from elsewhere, with the tree or without, is of no use here.
    if [[ -f $folder/CMakeCache.txt ]] &&
        ! grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$root" "$folder/CMakeCache.txt"; then
        fresh=--fresh
        configure=1
    fi
    if [[ $configure ]] && ! (cd "$root" && cmake $fresh --preset "$preset" "$@") >"$folder.log" 2>&1; then
        cat "$folder.log" >&2
        return 1
    fi
    ninja -C "$folder" -j "$jobs" "$target" 2>&1 {lock}>&- | show_build
    local status=${PIPESTATUS[0]}
    exec {lock}>&-
    return "$status"
}
