#!/bin/sh
# Installs every Debian 12 package needed to build, run and test the media server.
# Idempotent: packages already present are skipped, and the package index is
# refreshed at most once per run. Must run as root; a normal user is told the
# exact command instead.
# Usage: scripts/setup.sh [PACKAGE...]   (the given packages instead of the
# project's list: the packaging and cross-build scripts name their tools)
set -eu

PACKAGES="
build-essential cmake pkg-config git
libgtest-dev libgmock-dev googletest libbenchmark-dev
libgupnp-1.6-dev libgssdp-1.6-dev libsoup-3.0-dev libglib2.0-dev libmicrohttpd-dev libcurl4-openssl-dev
libsqlite3-dev sqlite3 libsystemd-dev groff-base
libexif-dev libtag1-dev
libavformat-dev libavcodec-dev libavutil-dev libswscale-dev libturbojpeg0-dev
clang libclang-rt-14-dev clang-format
libxml2-utils curl iproute2 procps
gssdp-tools gupnp-tools python3-gi gir1.2-gupnp-1.6 gir1.2-gupnp-av-1.0 gir1.2-gssdp-1.6
libgupnp-av-1.0-3 ffmpeg libimage-exiftool-perl mpd mpc vlc-bin vlc-plugin-base
"

[ $# -eq 0 ] || PACKAGES="$*"
missing=""
for p in $PACKAGES; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
        missing="$missing $p"
    fi
done

if [ -z "$missing" ]; then
    echo "setup: all packages present"
    exit 0
fi

if [ "$(id -u)" -ne 0 ]; then
    echo "setup: missing packages:$missing" >&2
    echo "setup: run as root: sudo sh scripts/setup.sh" >&2
    exit 1
fi

export DEBIAN_FRONTEND=noninteractive
# Packaged daemons (mpd) are clients of the tests only, run in namespaces:
# keep Debian from starting them as services on install (a policy already in
# place is left as it is).
guard=""
if [ ! -e /usr/sbin/policy-rc.d ]; then
    printf '#!/bin/sh\nexit 101\n' > /usr/sbin/policy-rc.d
    chmod +x /usr/sbin/policy-rc.d
    guard=1
fi
trap '[ -z "$guard" ] || rm -f /usr/sbin/policy-rc.d' EXIT
apt-get update -q
# shellcheck disable=SC2086
apt-get install -y -q --no-install-recommends $missing
echo "setup: installed:$missing"
