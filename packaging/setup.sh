# What ./run and ./check share: the packages of this system, and builds. Sourced by bash in the project's root.
# shellcheck shell=bash disable=SC1090,SC2016

# Tests point these elsewhere.
: "${LANTERNA_OS_RELEASE:=/etc/os-release}"
: "${LANTERNA_POLICY:=/usr/sbin/policy-rc.d}"
policy_mark="# temporary: Lanterna's set-up starts no daemon"

say() { printf '%s\n' "$*" >&2; }

# packages_of GROUP...: the packages of those groups, one a line, each once.
packages_of() {
    awk -v groups=" $* " '
        /^\[/ { wanted = index(groups, " " substr($0, 2, length($0) - 2) " ") > 0; next }
        wanted && NF && !/^#/ && !seen[$1]++ { print $1 }' packaging/debian-packages.txt
}

# missing_packages GROUP...: those of them that are not installed. A system without dpkg lacks them all.
missing_packages() {
    local wanted
    wanted=$(packages_of "$@")
    # shellcheck disable=SC2086  # one word a package
    comm -23 <(sort <<<"$wanted") <(dpkg-query -W -f '${db:Status-Status} ${Package}\n' $wanted 2>/dev/null | sed -n 's/^installed //p' | sort -u)
}

is_debian_12() { (. "$LANTERNA_OS_RELEASE" 2>/dev/null && [ "${ID:-}" = debian ] && [ "${VERSION_ID:-}" = 12 ]); }

# as_root COMMAND...: runs it directly or through sudo.
as_root() { if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi; }

# ensure_packages WHY GROUP...: installs what is missing, or exits with 2 where it cannot. Needs no network when nothing is missing.
ensure_packages() {
    local why=$1 missing
    shift
    missing=$(missing_packages "$@" | xargs)
    [ -n "$missing" ] || return 0
    if ! is_debian_12; then
        say "This is not Debian 12. These packages of Debian 12, or what this system has in their place, are missing $why:"
        say "  $missing"
        exit 2
    fi
    if [ "$(id -u)" != 0 ] && ! command -v sudo >/dev/null; then
        say "These packages are missing $why, and there is no sudo to install them with. As root: apt-get install --no-install-recommends $missing"
        exit 2
    fi
    say "Installing what is missing $why: $missing"
    [ "$(id -u)" = 0 ] || say "(apt-get needs root: sudo may ask for your password)"
    # shellcheck disable=SC2086  # one word a package
    if ! install_packages $missing; then
        say "The packages could not be installed."
        exit 2
    fi
}

# install_packages PACKAGE...: with a policy in place that lets no package start its daemon. A policy that is there already is left alone.
install_packages() (
    if [ -e "$LANTERNA_POLICY" ] && ! grep -qxF "$policy_mark" "$LANTERNA_POLICY"; then
        : # the administrator's own rule about daemons stands
    else
        trap 'as_root rm -f "$LANTERNA_POLICY"' EXIT
        trap 'exit 130' INT
        trap 'exit 143' TERM HUP
        printf '#!/bin/sh\n%s\nexit 101\n' "$policy_mark" | as_root sh -c 'cat > "$1" && chmod 755 "$1"' sh "$LANTERNA_POLICY" || exit 1
    fi
    as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq update >&2 || exit 1
    as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq install -y --no-install-recommends "$@" >&2
)

# job_count: how many compilers at once. A compiler of Qt code takes up to 700 MB, so a small machine gets fewer than its cores.
job_count() {
    local cores memory
    cores=$(nproc)
    memory=$(awk '/^MemAvailable/ { print int($2 / 700000) }' /proc/meminfo)
    [ "$memory" -ge 1 ] || memory=1
    echo $((cores < memory ? cores : memory))
}

# build PRESET [TARGET...]: configures at the first time, builds what changed. ninja runs cmake again by itself when a list of files changed.
# The array `frame`, if set, goes in front: tests are listed by running them while they are built.
build() {
    local preset=$1
    shift
    [ -f "build/$preset/build.ninja" ] || cmake --preset "$preset" || return
    "${frame[@]:-env}" cmake --build --preset "$preset" -j "$(job_count)" ${1:+--target "$@"}
}
