#!/bin/sh
# Cross-builds every library, dmsd and the unit tests for 32-bit ARM
# (armhf) and runs the unit suite under qemu-arm user emulation.
#
# Installs what it needs: Debian's crossbuild-essential-armhf and
# qemu-user-static on the host, and the armhf development packages in a
# sysroot of their own (mmdebstrap), which keeps them apart from the host's
# packages (multiarch would tie their versions to the host's). Registers
# qemu-arm with binfmt_misc when it is not, so that programs the tests start
# (GoogleTest's death tests re-run their own binary) run too.
#
# Usage: scripts/cross-armhf.sh [BUILD_DIR]   (default build-armhf; root only)
# Environment: DMS_ARMHF_SYSROOT (default build-armhf-sysroot)
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build-armhf}
sysroot=${DMS_ARMHF_SYSROOT:-$root/build-armhf-sysroot}
if [ "$(id -u)" -ne 0 ]; then
    echo "cross-armhf: run as root (packages, sysroot, binfmt_misc)" >&2
    exit 1
fi
export DEBIAN_FRONTEND=noninteractive

sh "$root/scripts/setup.sh" crossbuild-essential-armhf qemu-user-static mmdebstrap cmake pkg-config

# The armhf side of scripts/setup.sh's development packages.
packages="libc6-dev,libstdc++-12-dev,libgtest-dev,libgmock-dev,libgupnp-1.6-dev,libgssdp-1.6-dev,\
libsoup-3.0-dev,libglib2.0-dev,libmicrohttpd-dev,libcurl4-openssl-dev,libsqlite3-dev,libexif-dev,\
libtag1-dev,libavformat-dev,libavcodec-dev,libavutil-dev,libswscale-dev,libturbojpeg0-dev,\
libsystemd-dev"
if [ "$(cat "$sysroot/.packages" 2>/dev/null)" != "$packages" ]; then
    echo "cross-armhf: making the armhf sysroot $sysroot (log in $sysroot.log)"
    rm -rf "$sysroot"
    # Headers and libraries only (nothing runs in it): the release and its
    # updates suffice.
    # Twice: a mirror in the middle of a sync serves indexes that do not match.
    for attempt in 1 2; do
        rm -rf "$sysroot"
        if mmdebstrap --variant=extract --arch=armhf --include="$packages" bookworm "$sysroot" \
                "deb http://deb.debian.org/debian bookworm main" \
                "deb http://deb.debian.org/debian bookworm-updates main" >"$sysroot.log" 2>&1; then
            break
        fi
        tail -n 20 "$sysroot.log" >&2
        [ "$attempt" = 2 ] && exit 1
        sleep 30
    done
    echo "$packages" >"$sysroot/.packages"
fi

binfmt=/proc/sys/fs/binfmt_misc
if [ ! -e "$binfmt/qemu-arm" ]; then
    [ -e "$binfmt/register" ] || mount -t binfmt_misc binfmt_misc "$binfmt"
    grep '^:' /usr/lib/binfmt.d/qemu-arm.conf >"$binfmt/register"
fi

echo "cross-armhf: building in $build (log in $build/build.log)"
mkdir -p "$build"
if ! { cmake -S "$root" -B "$build" -DCMAKE_TOOLCHAIN_FILE="$root/cmake/armhf-toolchain.cmake" \
            -DDMS_ARMHF_SYSROOT="$sysroot" -DCMAKE_BUILD_TYPE=RelWithDebInfo &&
        cmake --build "$build" -j "$(nproc)"; } >"$build/build.log" 2>&1; then
    grep -E "error|Error" "$build/build.log" | head -n 30 >&2
    exit 1
fi

echo "cross-armhf: stripped sizes (bytes)"
for f in libdms.so stack/libdmsstack.so stack/scanner/libdmsscanner.so camera/libdmscamera.so \
         app/dmsd; do
    arm-linux-gnueabihf-strip -o "$build/stripped.tmp" "$build/$f"
    printf '  %-20s %9d\n' "$(basename "$f")" "$(stat -c %s "$build/stripped.tmp")"
done
rm -f "$build/stripped.tmp"

# qemu's user emulation gives a process at most 32 POSIX timers (real ARM
# kernels have no such limit). The first test needs more than 128 at once;
# the second one timer per temporary item, of which more than 32 can be
# alive when the machine is busy.
excluded="Timers.MoreThan128ExpiriesInOnePollAllFireOnceInListOrder|\
Concurrency.EngineHttpAndTimerThreadsShareTheStore"
echo "cross-armhf: unit tests under qemu-arm (not run under emulation: $excluded)"
export QEMU_LD_PREFIX="$sysroot"
# A network namespace of its own: the tests' loopback traffic stays there.
# Emulation runs some threads ten times slower than others, which stretches
# the tests' timing windows: a test that fails is run once more, and both
# runs are in the log.
unshare -n sh -c "ip link set lo up && cd '$build' && \
    ctest -L 'unit|loopback' -E '^($excluded)\$' -j '$(nproc)' --timeout 900 --output-on-failure \
        --repeat until-pass:2" \
    >"$build/test.log" 2>&1 || status=$?
tail -n 12 "$build/test.log"
exit "${status:-0}"
