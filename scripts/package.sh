# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0
# shellcheck shell=bash disable=SC2016,SC2154

# ./dev package [--try]: makes the Debian packages in build/packages and checks them with lintian: of
# the last commit, or in sources without a repository of what is there. --try makes them in a bare
# Debian 12 as well, and installs those in another, where the program runs and a host is built. It
# takes root's rights.

# package_sources <folder>: copies the sources there.
package_sources() {
    mkdir -p "$1"
    if [[ ! -e .git ]]; then
        tar --exclude=./build -c . | tar -x -C "$1"
        return
    fi
    if [[ -n "$(git status --porcelain)" ]]; then
        echo "What is not committed is left out."
    fi
    git archive HEAD | tar -x -C "$1"
}

package_build() {
    local version="$1" sources="build/packages/velmora-tessaryn-$1"
    rm -rf build/packages
    package_sources "$sources"
    (
        cd "$sources"
        # Debug symbols would be separate packages.
        DEB_BUILD_OPTIONS="noautodbgsym parallel=$jobs" dpkg-buildpackage -b -us -uc
    ) >build/packages/build.log 2>&1 || {
        tail -n 30 build/packages/build.log >&2
        echo "The complete output is in build/packages/build.log." >&2
        return 1
    }
    rm -r "$sources"
}

# in_root <folder> <script>: runs a script in that Debian.
in_root() {
    unshare --mount sh -euc '
        mount -t proc proc "$1/proc"
        DEBIAN_FRONTEND=noninteractive exec chroot "$1" sh -euxc "$2"
    ' sh "$1" "$2" </dev/null
}

package_try() {
    local builder="$PWD/build/packages/builder" host="$PWD/build/packages/host"
    begin "make a bare Debian 12"
    debootstrap --variant=minbase bookworm "$host" >build/packages/debootstrap.log
    cp -a "$host" "$builder"

    begin "make the packages there, without a repository"
    package_sources "$builder/velmora-tessaryn"
    in_root "$builder" '
        cd velmora-tessaryn
        ./dev package
    ' >build/packages/builder.log 2>&1 || {
        tail -n 30 build/packages/builder.log >&2
        return 1
    }

    begin "install them in another one"
    mkdir -p "$host/packages" "$host/host/debian" "$host/host/tests"
    cp "$builder"/velmora-tessaryn/build/packages/*.deb "$host/packages"
    # A package that is installed by its name brings what it declares, and nothing else.
    (cd "$host/packages" && dpkg-scanpackages . >Packages)
    echo "deb [trusted=yes] file:/packages ./" >"$host/etc/apt/sources.list.d/packages.list"
    cp -r debian/tests "$host/host/debian"
    cp -r tests/consumer tests/docs "$host/host/tests"
    in_root "$host" '
        cd /host
        install() {
            apt-get install -q -y --no-install-recommends "$@"
        }
        apt-get update -q
        install python3-tessaryn
        debian/tests/python
        install man-db systemd tessaryn-server
        debian/tests/server
        install /packages/*.deb cmake g++ ninja-build pkg-config
    '
    begin "run the program and build a host there"
    in_root "$host" '
        cd /host
        debian/tests/consumer
        man --warnings -P cat tessaryn | head -n 12
        doc=/usr/share/doc/libvelmora-tessaryn-dev
        cmake -DSOURCE_DIR=$doc -P tests/docs/links.cmake
        g++ -std=c++20 $doc/examples/01_quickstart.cpp -o quickstart \
            $(pkg-config --cflags --libs velmora-tessaryn)
        ./quickstart
        printf "time,x\n2020-01-01T00:00:00Z,1\n2020-01-01T00:00:01Z,5\n" |
            tessaryn watch - --rule "x > 2"
    '
    rm -rf "$builder" "$host"
}

cmd_package() {
    local try=0 version packages=("${build_packages[@]}" build-essential debhelper dh-python dpkg-dev
        fakeroot lintian)
    case "$*" in
        "") ;;
        --try)
            try=1
            if ((EUID != 0)); then
                echo "--try makes and enters a Debian of its own, as root only: use sudo." >&2
                return 1
            fi
            packages+=(debootstrap)
            ;;
        *)
            usage >&2
            return 2
            ;;
    esac
    if [[ -e .git ]]; then
        packages+=(git)
    fi
    need "${packages[@]}"
    version="$(dpkg-parsechangelog -S Version)"
    version="${version%-*}"
    if ! grep -q "^    VERSION $version\$" CMakeLists.txt; then
        echo "debian/changelog has version $version, CMakeLists.txt another." >&2
        return 1
    fi
    begin "make the packages"
    package_build "$version"
    begin "check the packages"
    # An upload into Debian's archive would close a bug; this is not one.
    lintian --fail-on error,warning --suppress-tags initial-upload-closes-no-bugs --allow-root \
        build/packages/*.changes
    ls -l build/packages/*.deb
    if ((try)); then
        package_try
    fi
}
