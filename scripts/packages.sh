#!/usr/bin/env bash
# Sourced by the commands in the top folder: makes sure that the packages which a task needs are
# there, and asks for nothing if they are.
#
#   need_packages TASK "DEBIAN PACKAGES" "HOMEBREW FORMULAE"

# As root, or by sudo where there is one.
as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    elif command -v sudo >/dev/null 2>&1; then
        sudo "$@"
    else
        echo "Run this as root once, or install sudo: packages are missing." >&2
        return 1
    fi
}

missing_debian_packages() {
    local package
    for package in "$@"; do
        dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' ||
            printf '%s ' "$package"
    done
}

need_packages() {
    local task=$1 debian=$2 homebrew=$3 missing
    if command -v apt-get >/dev/null 2>&1; then
        # shellcheck disable=SC2086
        missing=$(missing_debian_packages $debian)
        [ -z "$missing" ] && return 0
        echo "Installing what $task needs: $missing" >&2
        as_root env DEBIAN_FRONTEND=noninteractive apt-get update -qq >&2 || return 1
        # shellcheck disable=SC2086
        as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq \
            --no-install-recommends $missing >/dev/null || return 1
    elif command -v brew >/dev/null 2>&1; then
        # shellcheck disable=SC2086
        missing=$(comm -23 <(printf '%s\n' $homebrew | sort) <(brew list -1 | sort))
        [ -z "$missing" ] && return 0
        echo "Installing what $task needs: $missing" >&2
        # shellcheck disable=SC2086
        brew install --quiet $missing >&2 || return 1
    else
        echo "Neither apt-get nor Homebrew is here; $task needs: $debian" >&2
    fi
}
