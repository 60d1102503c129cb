# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0
# shellcheck shell=bash disable=SC2016,SC2154

# ./dev package [--try]: makes the Debian packages of the last commit in build/packages, and looks
# through them with lintian. With --try they are then installed into a bare Debian 12 below
# build/packages, where the program runs and a host is built; that takes root's rights.

# The packages are made from what the commit holds, so that they say truly what they were made from.
package_build() {
    local version="$1" sources="build/packages/velmora-tessaryn-$1"
    begin "make the packages of $(git rev-parse --short=8 HEAD)"
    if [[ -n "$(git status --porcelain)" ]]; then
        echo "What isn't committed is left out."
    fi
    rm -rf build/packages
    mkdir -p "$sources"
    git archive HEAD | tar -x -C "$sources"
    (
        cd "$sources"
        # Symbols for debuggers would be packages of their own.
        DEB_BUILD_OPTIONS="noautodbgsym parallel=$jobs" dpkg-buildpackage -b -us -uc
    ) >build/packages/build.log 2>&1 || {
        tail -n 30 build/packages/build.log >&2
        echo "The whole output is in build/packages/build.log." >&2
        return 1
    }
    rm -r "$sources"
}

package_try() {
    local root="$PWD/build/packages/root"
    begin "make a bare Debian 12"
    debootstrap --variant=minbase bookworm "$root" >build/packages/debootstrap.log
    begin "install the packages there"
    cp build/packages/*.deb "$root/tmp"
    mkdir -p "$root/host/debian" "$root/host/tests"
    cp -r debian/tests "$root/host/debian"
    cp -r tests/consumer "$root/host/tests"
    # What a new user has besides: compiler and build tools, and a reader for the manual page.
    chroot "$root" sh -euxc '
        export DEBIAN_FRONTEND=noninteractive
        apt-get update -q
        apt-get install -q -y --no-install-recommends /tmp/*.deb
        tessaryn --version
        apt-get install -q -y --no-install-recommends cmake g++ man-db ninja-build pkg-config
    ' </dev/null
    begin "run the program and build a host there"
    chroot "$root" sh -euxc '
        cd /host
        debian/tests/consumer
        man --warnings -P cat tessaryn | head -n 12
        g++ -std=c++20 /usr/share/doc/libvelmora-tessaryn-dev/examples/01_quickstart.cpp \
            -o quickstart $(pkg-config --cflags --libs velmora-tessaryn)
        ./quickstart
        printf "time,x\n2020-01-01T00:00:00Z,1\n2020-01-01T00:00:01Z,5\n" |
            tessaryn watch - --rule "x > 2"
    ' </dev/null
    rm -rf "$root"
}

cmd_package() {
    local try=0 version
    case "$*" in
        "") ;;
        --try)
            try=1
            if ((EUID != 0)); then
                echo "Making and entering a Debian of its own takes root's rights: try sudo." >&2
                return 1
            fi
            ;;
        *)
            usage >&2
            return 2
            ;;
    esac
    need "${build_packages[@]}" debhelper dpkg-dev fakeroot lintian
    version="$(dpkg-parsechangelog -S Version)"
    version="${version%-*}"
    if ! grep -q "^    VERSION $version\$" CMakeLists.txt; then
        echo "debian/changelog has version $version, CMakeLists.txt another." >&2
        return 1
    fi
    package_build "$version"
    begin "look through the packages"
    # An upload into Debian's archive would close a bug; this is none.
    lintian --fail-on error,warning --suppress-tags initial-upload-closes-no-bugs --allow-root \
        build/packages/*.changes
    ls -l build/packages/*.deb
    if ((try)); then
        need debootstrap
        package_try
    fi
}
