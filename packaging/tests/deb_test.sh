#!/usr/bin/env bash
# The Debian packages made from this build with cpack: their control fields
# (runtime libraries, never -dev packages), their contents, lintian with no
# error, and talvo installed into and removed from an empty dpkg root without
# leaving a file behind.
#
# usage: deb_test.sh BUILD_DIR CPACK APP_ID
# exit: 0 passed, 1 failed, 77 skipped (no dpkg-deb, dpkg-shlibdeps or lintian)
set -uo pipefail

build=$1
cpack=$2
id=$3

for tool in dpkg-deb dpkg-shlibdeps lintian; do
    if ! command -v "$tool" >/dev/null; then
        echo "SKIP: $tool is not installed"
        exit 77
    fi
done

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() {
    echo "FAIL: $*"
    exit 1
}
step() { echo "== $*"; }

step "cpack -G DEB"
"$cpack" -G DEB -B "$work/out" --config "$build/CPackConfig.cmake" >"$work/cpack.log" 2>&1 ||
    { tail -n 30 "$work/cpack.log"; fail "cpack failed"; }
talvo_deb=$(ls "$work"/out/talvo_*.deb 2>/dev/null | head -n 1)
server_deb=$(ls "$work"/out/talvo-server_*.deb 2>/dev/null | head -n 1)
[[ -f $talvo_deb && -f $server_deb ]] || fail "expected talvo and talvo-server packages, got: $(ls "$work/out")"
ls -l "$talvo_deb" "$server_deb"

step "control fields"
depends=$(dpkg-deb -f "$talvo_deb" Depends)
echo "talvo Depends: $depends"
for lib in libqt6widgets6 libqt6network6 libsqlite3-0 libicu72 libcurl4 fonts-noto-cjk; do
    grep -q "$lib" <<<"$depends" || fail "talvo does not depend on $lib"
done
grep -qE -- '-dev\b' <<<"$depends" && fail "talvo depends on a development package"
server_depends=$(dpkg-deb -f "$server_deb" Depends)
echo "talvo-server Depends: $server_depends"
grep -q "libpq5" <<<"$server_depends" || fail "talvo-server does not depend on libpq5"
grep -q "libqt6" <<<"$server_depends" && fail "talvo-server depends on Qt"
grep -qE -- '-dev\b' <<<"$server_depends" && fail "talvo-server depends on a development package"

step "contents"
dpkg-deb -c "$talvo_deb" | awk '{print $6}' >"$work/talvo.files"
for f in ./usr/bin/talvo ./usr/bin/talvo-cli ./usr/share/talvo/dict.sqlite ./usr/share/talvo/CREDITS.txt \
    "./usr/share/applications/$id.desktop" "./usr/share/metainfo/$id.metainfo.xml" \
    "./usr/share/icons/hicolor/48x48/apps/$id.png" "./usr/share/icons/hicolor/scalable/apps/$id.svg" \
    ./usr/share/doc/talvo/copyright ./usr/share/doc/talvo/changelog.gz ./usr/share/man/man1/talvo.1.gz; do
    grep -qxF "$f" "$work/talvo.files" || fail "talvo lacks $f"
done
grep -q "talvo-server\|/etc/" "$work/talvo.files" && fail "talvo holds server files"
dpkg-deb -x "$talvo_deb" "$work/talvo-root"
grep -qx "Exec=/usr/bin/talvo" "$work/talvo-root/usr/share/applications/$id.desktop" ||
    fail "the packaged desktop entry does not start /usr/bin/talvo"
dpkg-deb -c "$server_deb" | awk '{print $6}' >"$work/server.files"
for f in ./usr/bin/talvo-server ./usr/lib/systemd/system/talvo-server.service ./etc/talvo-server/env \
    ./usr/share/doc/talvo-server/copyright ./usr/share/man/man1/talvo-server.1.gz; do
    grep -qxF "$f" "$work/server.files" || fail "talvo-server lacks $f"
done
dpkg-deb -x "$server_deb" "$work/server-root"
grep -qx "ExecStart=/usr/bin/talvo-server serve --listen 127.0.0.1:8787 --threads 32" \
    "$work/server-root/usr/lib/systemd/system/talvo-server.service" || fail "the packaged unit does not start /usr/bin/talvo-server"
dpkg-deb -e "$server_deb" "$work/server-control"
grep -qx "/etc/talvo-server/env" "$work/server-control/conffiles" || fail "the environment file is not a conffile"

step "lintian"
lintian --fail-on error --tag-display-limit 0 \
    "$talvo_deb" "$server_deb" | tee "$work/lintian.log"
lintian_rc=${PIPESTATUS[0]}
[[ $lintian_rc -eq 0 ]] || fail "lintian reports errors"

step "install and remove talvo in an empty dpkg root"
root=$work/root
mkdir -p "$root/var/lib/dpkg/info" "$root/var/lib/dpkg/updates" "$root/var/lib/dpkg/triggers"
touch "$root/var/lib/dpkg/status" "$root/var/lib/dpkg/available"
dpkg=(dpkg --root="$root" --log=/dev/null --force-not-root --force-depends --force-script-chrootless)
"${dpkg[@]}" -i "$talvo_deb" >"$work/dpkg.log" 2>&1 || { cat "$work/dpkg.log"; fail "dpkg -i failed"; }
[[ -x $root/usr/bin/talvo && -f $root/usr/share/talvo/dict.sqlite ]] || fail "dpkg -i installed nothing"
"${dpkg[@]}" -r talvo >>"$work/dpkg.log" 2>&1 || { cat "$work/dpkg.log"; fail "dpkg -r failed"; }
left=$(cd "$root" && find . -path ./var/lib/dpkg -prune -o \( -type f -o -type l \) -print)
[[ -z $left ]] || fail "files left after removal: $left"

echo "PASS"
