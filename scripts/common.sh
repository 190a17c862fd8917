# shellcheck shell=bash
# Shared by ./run, ./test and ./bench; sourced with the repository as the current folder.

# print_usage SCRIPT: prints the comment at the top of a script.
print_usage() {
    sed -n '2,/^set/{/^#/s/^# \{0,1\}//p}' "$1"
}

# missing_packages USE...: prints what packages.txt lists for these uses and the machine lacks.
missing_packages() {
    local use package
    while read -r use package; do
        case " $* " in *" $use "*) ;; *) continue ;; esac
        dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || echo "$package"
    done < <(grep -v '^#' packages.txt)
}

# install_packages USE...: installs them; not if no_install is set. Says what is missing if it cannot.
install_packages() {
    local missing sudo=() reason=
    mapfile -t missing < <(missing_packages "$@")
    [ ${#missing[@]} -eq 0 ] && return 0

    [ "$(id -u)" -eq 0 ] || sudo=(sudo)
    if [ -n "${no_install-}" ]; then
        reason="not installed, because of --no-install"
    elif [ ${#sudo[@]} -gt 0 ] && ! command -v sudo >/dev/null; then
        reason="not installed, which takes root or sudo"
    else
        echo "installing ${missing[*]}" >&2
        if quietly install "${sudo[@]}" apt-get update -q &&
            quietly install "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive \
                apt-get install -yq --no-install-recommends "${missing[@]}"; then
            return 0
        fi
        reason="not installed: apt-get failed, for example for lack of a network"
    fi
    printf 'missing packages: %s (%s)\n' "${missing[*]}" "$reason" >&2
    printf 'to install them: apt-get install --no-install-recommends %s\n' "${missing[*]}" >&2
    return 1
}

# quietly NAME COMMAND...: runs a command with its output in build/NAME.log, which is shown only if the command fails.
quietly() {
    local log="build/$1.log"
    shift
    mkdir -p build
    if ! "$@" >"$log" 2>&1; then
        tail -n 60 "$log" >&2
        echo "failed: $*" >&2
        return 1
    fi
}
