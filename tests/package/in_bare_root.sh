# Installs the Debian packages, uses them as their users do, removes them and whatever came with
# them, and shows that nothing is left. scripts/check_debian runs it in a root that it makes and
# throws away, with the tree at /mnt.
set -eu
cd /tmp
tree=/mnt
. "$tree/tests/package/user.sh"

say() { echo "check_debian: $*"; }
install() { quiet apt-get install -y --no-install-recommends "$@"; }
package() { ls "$tree/out/packages/$1"_*.deb; }

# The packages with their versions and states, and every file with its kind, rights, owner and bytes.
# Left out is what differs from day to day: logs and caches, that of ldconfig, the lists of apt and
# dpkg, of which the first line here is the gist, and the tree, which may be of the same file system.
contents() {
    dpkg-query -W -f '${Package} ${Version} ${db:Status-Status}\n'
    set -- -path /var/log -o -path /var/cache -o -path /etc/ld.so.cache -o -path /var/lib/apt \
        -o -path /var/lib/dpkg -o -path "$tree"
    find / -xdev \( "$@" \) -prune -o -printf '%p %y %m %u:%g %l\n' | sort
    find / -xdev \( "$@" \) -prune -o -type f -exec sha256sum {} + | sort -k 2
}

quiet apt-get update
quiet apt-get upgrade -y  # so that no dependency brings a newer package in place of an old one
contents >before

say "ptc"
install "$(package ptc)"
quiet dpkg --verify ptc
[ "$(ptc --version)" = "ptc $(dpkg-query -W -f '${source:Upstream-Version}' ptc)" ] ||
    fail "ptc --version prints: $(ptc --version)"
quiet pcbake --driver /usr/lib/d_pointcloud/d_pointcloud.so --rays 4 --output sample.ptc
quiet ptc info sample.ptc
quiet ptc check sample.ptc
quiet ptc view sample.ptc -o sample.png
[ -s sample.png ] || fail "ptc view draws no picture"
quiet pcrender --cloud sample.ptc --size 16x16 -o render.exr
[ -s render.exr ] || fail "pcrender draws no picture"
if [ -d "$tree/tools/pages" ]; then
    install man-db
    quiet man -w ptc
    quiet man -w pcbake
    quiet man -w pcrender
    for file in bash-completion/completions/ptc zsh/vendor-completions/_ptc \
        fish/vendor_completions.d/ptc.fish; do
        [ -s "/usr/share/$file" ] || fail "/usr/share/$file is missing"
    done
fi

if [ -d "$tree/python" ]; then
    say "python3-ptc"
    install "$(package python3-ptc)"
    quiet python3 -c "import ptc._ptc; assert ptc.__file__"
fi

say "libptc-dev"
install "$(package libptc-dev)" g++ cmake pkg-config ninja-build
build_user with_cmake /usr/include
build_c_user with_c
build_with_pkg_config
ldd with_pkg_config | grep -q '/libptc\.so\.' || fail "the program does not load libptc.so"
run_pkg_config_users

say "removal"
quiet apt-get purge -y $(cd "$tree/out/packages" && ls | sed 's/_.*//')
dpkg-query -W -f '${Package}\n' | sort >installed
sed -nE 's/^([^ /]+) [^ ]+ installed$/\1/p' before | sort | comm -13 - installed >added
quiet apt-mark auto $(cat added)
# Packages of the root recommend some of these, which were not there before.
quiet apt-get autoremove --purge -y -o APT::AutoRemove::RecommendsImportant=false \
    -o APT::AutoRemove::SuggestsImportant=false
contents >after
diff before after >differences || {
    head -50 differences >&2
    fail "the removal leaves or changes this (<: before, >: after)"
}
say "used, removed, nothing left"
