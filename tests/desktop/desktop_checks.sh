#!/usr/bin/env bash
# Checks of Kestrelwing as a desktop program, run by ctest:
#
#   desktop_checks.sh install BUILD_DIR SOURCE_DIR   an install into a temporary prefix runs from there
#   desktop_checks.sh files   BUILD_DIR SOURCE_DIR   desktop entry, AppStream, MIME types, icons
#   desktop_checks.sh package BUILD_DIR SOURCE_DIR   the Debian package, unpacked, runs from there
#
# A tool that is missing is a failure, never a skip: scripts/deps.sh installs them all.
set -euo pipefail

what="$1"
build="$(cd "$2" && pwd)"
source="$(cd "$3" && pwd)"
corpus="$source/tests/fuzz/corpus/process"

fail() {
    echo "FAIL: $*" >&2
    exit 1
}
need() {
    command -v "$1" > /dev/null || fail "$1 is missing (package $2; scripts/deps.sh installs it)"
}

tmp="$(mktemp -d /tmp/kw_desktop_XXXXXX)"
trap 'rm -rf "$tmp"' EXIT
# The program never sees the user's settings or data.
export HOME="$tmp/home" XDG_CONFIG_HOME="$tmp/home/.config" XDG_DATA_HOME="$tmp/home/.local/share"
mkdir -p "$HOME" "$tmp/elsewhere"

version="$("$build/bin/kestrelwing" --version)"
version="${version#Kestrelwing }"
[ -n "$version" ] || fail "the build's kestrelwing --version printed no version"

# Fixtures with real names, spaces included, as a file manager would pass them.
# The replayed process uses a factory tip by number, so its picture needs the data folder.
fixtures="$tmp/My Pictures"
mkdir -p "$fixtures"
cp "$corpus/v3_1_tips_strokes.seed" "$fixtures/old tips.dpf"
cp "$corpus/saved_every_action.seed" "$fixtures/every action.dpf"
cp "$corpus/kwf_layer_index1.seed" "$fixtures/three layers.kwf"

# What the build tree's program gives for the fixtures: the reference for a relocated copy.
reference="$tmp/reference"
mkdir -p "$reference"
(
    cd "$tmp/elsewhere" &&
        "$build/bin/kestrelwing" --info "$fixtures/every action.dpf" > "$reference/info.txt" &&
        "$build/bin/kestrelwing" --render --replay "$fixtures/old tips.dpf" "$reference/replay.png" &&
        "$build/bin/kestrelwing" --render "$fixtures/three layers.kwf" "$reference/layers.png"
) || fail "the build tree's program failed on the fixtures"

# The same three batch runs with a relocated program, from another working directory.
check_runs_like_the_build() { # BINARY LABEL
    local bin="$1" label="$2" out="$tmp/out-$2"
    mkdir -p "$out"
    [ -x "$bin" ] || fail "$label: no executable $bin"
    (
        cd "$tmp/elsewhere"
        [ "$("$bin" --version)" = "Kestrelwing $version" ] || fail "$label: --version says $("$bin" --version)"
        "$bin" --info "$fixtures/every action.dpf" > "$out/info.txt" || fail "$label: --info failed"
        "$bin" --render --replay "$fixtures/old tips.dpf" "$out/replay.png" 2> "$out/replay.err" ||
            fail "$label: --render --replay failed: $(cat "$out/replay.err")"
        "$bin" --render "$fixtures/three layers.kwf" "$out/layers.png" || fail "$label: --render of a .kwf failed"
    ) || exit 1
    cmp -s "$out/info.txt" "$reference/info.txt" || fail "$label: --info differs from the build tree's"
    cmp -s "$out/replay.png" "$reference/replay.png" ||
        fail "$label: the replayed picture differs from the build tree's (data not found?): $(cat "$out/replay.err")"
    cmp -s "$out/layers.png" "$reference/layers.png" || fail "$label: the rendered .kwf differs from the build tree's"
    echo "$label: --version, --info and --render give what the build tree gives"
}

# Without its data the program must paint the replay differently, or the
# comparison above could not tell a found data folder from a lost one.
check_fixture_needs_data() {
    mkdir -p "$tmp/lonely/bin"
    cp "$build/bin/kestrelwing" "$tmp/lonely/bin/"
    (cd "$tmp/elsewhere" && "$tmp/lonely/bin/kestrelwing" --render --replay "$fixtures/old tips.dpf" "$tmp/lonely.png") \
        2> /dev/null || true
    if [ -f "$tmp/lonely.png" ] && cmp -s "$tmp/lonely.png" "$reference/replay.png"; then
        fail "the replay fixture paints the same without the data folder: it cannot show that data was found"
    fi
}

case "$what" in
install)
    need cmake cmake
    check_fixture_needs_data
    prefix="$tmp/prefix with space"
    cmake --install "$build" --prefix "$prefix" > "$tmp/install.log" || fail "cmake --install failed: $(cat "$tmp/install.log")"
    # Every file the install wrote lies under the prefix, and the manifest lists them all.
    manifest="$build/install_manifest.txt"
    [ -s "$manifest" ] || fail "no install manifest"
    while IFS= read -r f; do
        case "$f" in "$prefix"/*) ;; *) fail "installed outside the prefix: $f" ;; esac
    done < "$manifest"
    diff <(sort "$manifest") <(find "$prefix" \( -type f -o -type l \) | sort) > "$tmp/manifest.diff" ||
        fail "files under the prefix and the install manifest differ: $(cat "$tmp/manifest.diff")"
    for f in bin/kestrelwing share/kestrelwing/data/brushes/round.png share/kestrelwing/data/brushes/README.txt \
        share/kestrelwing/data/brushes/brush_presets.xml \
        share/kestrelwing/data/fonts/DroidSansMono.TTF share/kestrelwing/data/fonts/test.TTF \
        share/kestrelwing/data/interface/toolbar.png share/applications/kestrelwing.desktop \
        share/metainfo/org.kestrelwing.Kestrelwing.metainfo.xml share/mime/packages/kestrelwing.xml \
        share/icons/hicolor/16x16/apps/kestrelwing.png share/icons/hicolor/256x256/apps/kestrelwing.png; do
        [ -e "$prefix/$f" ] || fail "the install has no $f"
    done
    [ -d "$prefix/share/kestrelwing/languages" ] || fail "the install has no languages folder"
    # Only run-time files: the build folder's CMake files stay behind.
    stray="$(find "$prefix/share/kestrelwing" \( -name CMakeFiles -o -name Makefile -o -name '*.cmake' -o -name '*.o' \))"
    [ -z "$stray" ] || fail "build files were installed: $stray"
    [ ! -e "$prefix/bin/kestrelwing_tests" ] || fail "the test binary was installed"
    check_runs_like_the_build "$prefix/bin/kestrelwing" "installed tree"
    ;;

files)
    need desktop-file-validate desktop-file-utils
    need appstreamcli appstream
    need xmllint libxml2-utils
    need update-mime-database shared-mime-info
    need gio libglib2.0-bin
    desktop="$source/data/desktop/kestrelwing.desktop"
    metainfo="$source/data/desktop/org.kestrelwing.Kestrelwing.metainfo.xml"
    mimexml="$source/data/desktop/kestrelwing-mime.xml"
    desktop-file-validate "$desktop" || fail "desktop-file-validate"
    appstreamcli validate --no-net "$metainfo" || fail "appstreamcli validate"
    xmllint --noout "$mimexml" "$metainfo" || fail "xmllint"
    echo "desktop entry, AppStream and MIME files validate"

    grep -qx 'Exec=kestrelwing %f' "$desktop" || fail "the desktop entry does not start kestrelwing with the file"
    # The class the program gives its window (platform/X11Window.cpp).
    grep -qx 'StartupWMClass=Kestrelwing' "$desktop" || fail "the desktop entry names another window class"
    # The newest release the metainfo names is the program's version.
    newest="$(xmllint --xpath 'string(//releases/release[1]/@version)' "$metainfo")"
    [ "$newest" = "$version" ] || fail "the metainfo's newest release is '$newest', the program is $version"

    # The file types, compiled by update-mime-database into a private data folder.
    data="$tmp/xdg"
    mkdir -p "$data/mime/packages"
    cp "$mimexml" "$data/mime/packages/kestrelwing.xml"
    XDG_DATA_HOME="$data" update-mime-database "$data/mime" || fail "update-mime-database rejected the MIME types"
    type_of() { # FILE [DATA_HOME]
        XDG_DATA_HOME="${2:-$data}" XDG_DATA_DIRS=/usr/share gio info -a standard::content-type "$1" |
            sed -n 's/^ *standard::content-type: //p'
    }
    samples="$tmp/samples"
    mkdir -p "$samples"
    # A process the program's own writer made, under a name with no extension:
    # only the header can tell what it is.
    cp "$corpus/saved_every_action.seed" "$samples/no extension"
    cp "$corpus/saved_every_action.seed" "$samples/a picture.dpf"
    cp "$corpus/kwf_layer_index1.seed" "$samples/layers.kwf"
    printf 'KWFILX\0\0(\0\0\0' > "$samples/near miss"
    [ "$(type_of "$samples/no extension" "$tmp/empty")" != application/x-kestrelwing-process ] ||
        fail "the system already knows the process type: this check would prove nothing"
    [ "$(type_of "$samples/no extension")" = application/x-kestrelwing-process ] ||
        fail "a process without extension is $(type_of "$samples/no extension")"
    [ "$(type_of "$samples/a picture.dpf")" = application/x-kestrelwing-process ] ||
        fail "a .dpf is $(type_of "$samples/a picture.dpf")"
    [ "$(type_of "$samples/layers.kwf")" = image/x-kestrelwing-layered ] ||
        fail "a .kwf is $(type_of "$samples/layers.kwf")"
    [ "$(type_of "$samples/near miss")" != application/x-kestrelwing-process ] ||
        fail "a file with another header is taken for a process"
    echo "the MIME database recognises processes (by header and name) and layered files (by name)"

    # Every type the desktop entry claims exists: ours or the system's.
    mimetypes="$(sed -n 's/^MimeType=//p' "$desktop" | tr ';' '\n' | sed '/^$/d')"
    for t in application/x-kestrelwing-process image/x-kestrelwing-layered image/png image/jpeg image/tiff; do
        grep -qx "$t" <<< "$mimetypes" || fail "the desktop entry does not list $t"
    done
    while IFS= read -r t; do
        grep -qx "$t" "$data/mime/types" /usr/share/mime/types || fail "the desktop entry lists an unknown type $t"
    done <<< "$mimetypes"

    # The icon in every size of the theme, each of its own size.
    icon="$(sed -n 's/^Icon=//p' "$desktop")"
    for size in 16 24 32 48 64 128 256; do
        png="$build/desktop/icons/hicolor/${size}x${size}/apps/$icon.png"
        [ -f "$png" ] || fail "no icon $png"
        file -b "$png" | grep -q "^PNG image data, $size x $size, 8-bit/color RGBA" ||
            fail "$png is $(file -b "$png")"
    done
    echo "the icon exists in all seven sizes"
    ;;

package)
    need cpack cmake
    need dpkg-deb dpkg
    need dpkg-shlibdeps dpkg-dev
    need readelf binutils
    check_fixture_needs_data
    arch="$(dpkg --print-architecture)"
    cpack -G DEB --config "$build/CPackConfig.cmake" -B "$tmp/package" > "$tmp/cpack.log" 2>&1 ||
        fail "cpack failed: $(cat "$tmp/cpack.log")"
    deb="$tmp/package/kestrelwing_${version}_${arch}.deb"
    [ -f "$deb" ] || fail "no $deb: $(ls "$tmp/package")"
    dpkg-deb -I "$deb" > "$tmp/control" || fail "dpkg-deb -I"
    field() { sed -n "s/^ $1: //p" "$tmp/control"; }
    [ "$(field Package)" = kestrelwing ] || fail "Package: $(field Package)"
    [ "$(field Version)" = "$version" ] || fail "Version: $(field Version)"
    [ "$(field Architecture)" = "$arch" ] || fail "Architecture: $(field Architecture)"
    depends="$(field Depends)"
    depends_names="$(tr ',|' '\n\n' <<< "$depends" | sed 's/(.*)//; s/ //g' | sed '/^$/d')"
    # Each library the program links names its Debian package in Depends.
    libs="$(readelf -d "$build/bin/kestrelwing" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')"
    [ -n "$libs" ] || fail "readelf found no libraries in the program"
    multiarch="$(dpkg-architecture -qDEB_HOST_MULTIARCH)"
    for lib in $libs; do
        owner="$(dpkg -S "*/$multiarch/$lib" 2> /dev/null | sed -n '1s/[:,].*//p')"
        [ -n "$owner" ] || fail "no installed package holds $lib"
        grep -Fxq "$owner" <<< "$depends_names" || fail "Depends lacks $owner (for $lib): $depends"
    done
    # ... and every package named there is one this system knows.
    for pkg in $depends_names; do
        dpkg-query -W "$pkg" > /dev/null 2>&1 || fail "Depends names $pkg, which is not installed here"
    done
    echo "Depends: $depends"
    dpkg-deb -c "$deb" | awk '{print $6}' > "$tmp/contents"
    for f in ./usr/bin/kestrelwing ./usr/share/applications/kestrelwing.desktop \
        ./usr/share/kestrelwing/data/brushes/round.png ./usr/share/mime/packages/kestrelwing.xml \
        ./usr/share/metainfo/org.kestrelwing.Kestrelwing.metainfo.xml \
        ./usr/share/icons/hicolor/48x48/apps/kestrelwing.png; do
        grep -qx "$f" "$tmp/contents" || fail "the package lacks $f"
    done
    ! grep -v -e '^\./$' -e '^\./usr/' "$tmp/contents" || fail "the package holds files outside /usr"
    # dpkg itself takes the package, into an empty root (the libraries it
    # depends on are not there, hence --force-depends).
    dpkg_root="$tmp/dpkg-root"
    mkdir -p "$dpkg_root/var/lib/dpkg/info" "$dpkg_root/var/lib/dpkg/updates"
    touch "$dpkg_root/var/lib/dpkg/status" "$dpkg_root/var/lib/dpkg/available"
    dpkg --root="$dpkg_root" --force-depends --force-script-chrootless -i "$deb" > "$tmp/dpkg.log" 2>&1 ||
        fail "dpkg -i into an empty root failed: $(cat "$tmp/dpkg.log")"
    dpkg-query --root="$dpkg_root" -W -f='${Status}' kestrelwing | grep -qx "install ok installed" ||
        fail "dpkg did not install the package into the empty root"
    [ -x "$dpkg_root/usr/bin/kestrelwing" ] || fail "dpkg installed no /usr/bin/kestrelwing"
    dpkg-deb -x "$deb" "$tmp/root" || fail "dpkg-deb -x"
    file -b "$tmp/root/usr/bin/kestrelwing" | grep -q ", stripped" || fail "the packaged program is not stripped"
    check_runs_like_the_build "$tmp/root/usr/bin/kestrelwing" "unpacked package"
    echo "package: $(du -k "$deb" | cut -f1) KiB"
    ;;

*)
    fail "unknown check $what"
    ;;
esac
