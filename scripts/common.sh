# Shared by ./run, ./test and ./bench; sourced with the repository as the current folder.

# install_packages USE...: installs what packages.txt lists for these uses and the machine lacks.
install_packages() {
    local use package missing=()
    while read -r use package; do
        case " $* " in *" $use "*) ;; *) continue ;; esac
        dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
    done < <(grep -v '^#' packages.txt)
    [ ${#missing[@]} -eq 0 ] && return 0

    local sudo=()
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null || { echo "needs root or sudo to install: ${missing[*]}" >&2; return 1; }
        sudo=(sudo)
    fi
    echo "installing ${missing[*]}" >&2
    quietly install "${sudo[@]}" apt-get update -q
    quietly install "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -yq --no-install-recommends "${missing[@]}"
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
