#!/bin/bash
# packaging_test.sh CMAKE BUILD SOURCE: installs into a scratch folder and asks each convention's validator. Then
# completes command lines, compares the help with the manual, and builds, unpacks and runs the packages. What a missing
# tool would check is passed over with a sentence.
set -u
cmake=$1 build=$2 source=$3
here=$(cd "$(dirname "$0")" && pwd)
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
export HOME=$folder/home XDG_DATA_HOME=$folder/home/data
mkdir -p "$HOME"
root=$folder/root share=$folder/root/usr/share
failures=0

fail() { echo "FAILED: $*"; failures=$((failures + 1)); }
must() { "$@" >"$folder/printed" 2>&1 || { fail "$*"; cat "$folder/printed"; }; }
silent() { must "$@"; [[ ! -s $folder/printed ]] || { fail "$* prints"; cat "$folder/printed"; }; }
has() { command -v "$1" >/dev/null || { echo "$1 is not installed: its check is passed over"; return 1; }; }

checkTree() {
    local program
    if grep -rlF -e "$build" -e "$source" "$root"; then fail "a file names the folder of the build"; fi
    for program in "$root"/usr/bin/* "$root"/usr/lib/*/libsvdata.so.*.* "$root"/usr/lib/libsvdata.so.*.*; do
        [[ -e $program ]] || continue
        if readelf -d "$program" | grep -E 'RPATH|RUNPATH'; then fail "$program has a run path"; fi
    done
    for program in "$root"/usr/bin/*; do
        [[ $("$program" --version) =~ ^"$(basename "$program") "[0-9]+\.[0-9]+\.[0-9]+$ ]] ||
            fail "$program --version"
        [[ -e $share/man/man1/$(basename "$program").1.gz ]] || fail "$program has no page"
    done
}

checkDesktopEntry() {
    local entry=$share/applications/com.kelmont.trelkind.desktop
    has desktop-file-validate && silent desktop-file-validate "$entry"
    grep -q '^Exec=trelkind-desktop %F$' "$entry" || fail "Exec"
    grep -q '^DBusActivatable=true$' "$entry" || fail "DBusActivatable"
    grep -qx "Name=$(basename "$entry" .desktop)" "$share"/dbus-1/services/*.service ||
        fail "the session bus can't start what the entry names"
    ! grep -rq 'inode/directory' "$share/applications" || fail "an entry offers to open every folder"
}

checkMetainfo() {
    local metainfo=$share/metainfo/com.kelmont.trelkind.metainfo.xml program
    has appstreamcli && must appstreamcli validate --no-net --strict "$metainfo"
    for program in "$root"/usr/bin/*; do
        grep -q "<binary>$(basename "$program")</binary>" "$metainfo" || fail "metainfo lacks $program"
    done
}

typeOf() { XDG_DATA_DIRS=$share:/usr/share gio info -a standard::content-type "$1" | sed -n 's/.*content-type: //p'; }

checkTypes() {
    has update-mime-database || return
    XDG_DATA_DIRS=$share silent update-mime-database "$share/mime"
    # The first bytes decide where a name tells nothing.
    printf 'Sorvanta Binary File LE\0' >"$folder/nameless"
    if has gio; then
        [[ $(typeOf "$folder/nameless") == application/x-svbin ]] || fail "a data file isn't known by its content"
    fi
    grep -q 'application/x-trelkind-wrapper:\*.vtask' "$share/mime/globs" || fail "*.vtask has no type"
    grep -q 'application/x-svdata:\*.svdata' "$share/mime/globs" || fail "*.svdata has no type"
    grep -q 'application/x-trelkind-wrapper' "$share/mime/treemagic" || fail "a wrapper isn't known by its content"
    for type in trelkind-wrapper svbin svdata; do
        [[ -e $share/icons/hicolor/scalable/mimetypes/application-x-$type.svg ]] || fail "$type has no icon"
    done
}

checkIcons() {
    has rsvg-convert || return
    local drawing size
    for drawing in "$share"/icons/hicolor/{scalable,symbolic}/*/*.svg; do
        for size in 16 48 128 512; do
            silent rsvg-convert -w $size -h $size "$drawing" -o "$folder/picture.png"
        done
    done
    for size in 48 128 256; do
        file=$share/icons/hicolor/${size}x$size/apps/com.kelmont.trelkind.png
        [[ $(od -An -tu1 -j18 -N2 "$file" | awk '{print $1 * 256 + $2}') == "$size" ]] || fail "$file has another size"
    done
}

checkManual() {
    local page text section
    for page in "$share"/man/man?/*.gz; do
        text=$folder/$(basename "$page" .gz)
        gzip -dc "$page" >"$text"
        has mandoc && silent mandoc -Tlint -Wwarning "$text"
        for section in FILES EXAMPLES; do grep -q "^.Sh $section" "$text" || fail "$page has no $section"; done
        [[ $page != *.1.gz ]] || grep -q '^.Sh EXIT STATUS' "$text" || fail "$page has no EXIT STATUS"
    done
}

complete() { (cd "$folder" && bash "$here/complete.bash" "$share/bash-completion/completions/$1" "$2" "$3" 2>&1) | sort; }
optionsOf() { "$@" --help | sed -n 's/^  \(-[^ ]*\).*/\1/p' | tr ',' '\n' | sort -u; }
verbsOf() { trelkind "$@" --help | sed -n '/^Verbs:/,/^$/s/^  \([a-z]*\) .*/\1/p'; }
inManual() { # inManual PAGE SECTION: the options in a section of a page, in all of it without one
    gzip -dc "$share/man/man1/$1.1.gz" | awk -v section="$2" '
        section == "" { print; next }
        /^\.S[sh] / { inside = (substr($0, 5) == section) } inside' |
        awk '/^\.It Fl/ { for (i = 2; i < NF; i++) if ($i == "Fl") print "-" $(i + 1) }' | sort -u
}

# Help, manual and completion must name the same options, and no others.
checkOptions() {
    local call options
    while read -r call; do
        # shellcheck disable=SC2086
        options=$(optionsOf $call)
        [[ -n $options ]] || fail "$call --help names no options"
        diff <(echo "$options" | grep -vxE -e '-h|--help') <(inManual trelkind "$call") ||
            fail "help and page of $call differ"
        diff <(echo "$options") <(complete trelkind _trelkind "$call -") || fail "help and completion of $call differ"
    done < <(for verb in $(verbsOf); do echo "trelkind $verb"; done
        for action in $(verbsOf machines); do echo "trelkind machines $action"; done)
    for call in svdata trelkind-desktop; do
        options=$("$call" --help | grep -oE -e '(^| )--?[a-z]+' | tr -d ' ' | sort -u)
        diff <(printf '%s\n' -h $options | sort -u) <(inManual $call '' | sort -u) || fail "help and page of $call differ"
        diff <(printf '%s\n' -h $options | sort -u) <(complete $call "_${call/-/_}" "$call -") ||
            fail "help and completion of $call differ"
    done
}

offers() { # offers LINE WORD...
    local line=$1
    shift
    diff <(printf '%s\n' "$@" | sort) <(complete "${line%% *}" "_${line%% *}" "$line") || fail "completion of \"$line\""
    has fish >/dev/null && { diff <(printf '%s\n' "${@/#/${fishKept:-}}" | sort) \
        <(cd "$folder" && fish -N -c "source $share/fish/vendor_completions.d/${line%% *}.fish; complete -C '$line'" |
            cut -f1 | sort) || fail "fish: completion of \"$line\""; }
}

makeWrapper() {
    printf 'a\nx\ny\nz\n' >runs.csv
    printf '#!/bin/sh\n' >program
    chmod +x program
    must trelkind new "$1" --program ./program --table runs.csv
    printf '%s\n' Seq_t String 'Real Number' t Number 1 Seq_t2 String 'Real Number' t2 Number 2 |
        tee "$1/1/r.ascii" >plain.ascii
    # The doubles t and t2 in a native file.
    { printf 'Sorvanta Binary File LE\0'
      printf '\46\0\0\0\0\0\0\0\1\0\0\0\1\0\0\0\1\0\0\0\1\0\0\0\2\0\0\0t\0\0\0\0\0\0\0\360?'
      printf '\47\0\0\0\0\0\0\0\1\0\0\0\1\0\0\0\1\0\0\0\1\0\0\0\3\0\0\0t2\0\0\0\0\0\0\0\360?'; } >plain.svbin
}

checkCompletion() {
    local file
    for file in "$share"/bash-completion/completions/*; do silent bash -n "$file"; done
    has fish && for file in "$share"/fish/vendor_completions.d/*; do silent fish -n "$file"; done
    has zsh && for file in "$share"/zsh/vendor-completions/*; do silent zsh -n "$file"; done
    cd "$folder" || exit 1
    makeWrapper Sweep.vtask
    must trelkind machines add ada@north.example
    must trelkind machines add bob@south.example
    offers 'trelkind ru' run
    offers 'trelkind machines pass' password
    offers 'trelkind run Sweep.vtask ' 1 2 3
    offers 'trelkind run -j 2 Sweep.vtask --quiet ' 1 2 3
    offers 'trelkind output Sweep.vtask ' 1 2 3
    offers 'trelkind run Sweep.vtask --on b' bob@south.example
    fishKept=bob@ offers 'trelkind run Sweep.vtask --on bob@' south.example
    fishKept=ada@ offers 'trelkind machines check ada@n' north.example
    offers 'trelkind variables Sweep.vtask 2 ' r.ascii
    offers 'trelkind value Sweep.vtask 2 r.ascii ' t t2
    offers 'trelkind value plain.ascii t' t t2
    offers 'svdata show plain.svbin t' t t2
    [[ -z $(complete trelkind _trelkind 'trelkind run Missing.vtask ') ]] || fail "a missing wrapper isn't passed over"
    cd / || exit 1
}

checkPackages() {
    has dpkg-deb || return
    must "$cmake" -E chdir "$build" "$(dirname "$cmake")/cpack" -G DEB -B "$folder/packages"
    local package unpacked=$folder/unpacked
    for package in "$folder"/packages/*.deb; do must dpkg-deb -x "$package" "$unpacked"; done
    [[ $(for package in "$folder"/packages/*.deb; do dpkg-deb -c "$package"; done |
        awk '$1 !~ /^d/ {print $6}' | sort | uniq -d) == "" ]] || fail "two packages have the same file"
    for package in trelkind svdata trelkind-desktop; do
        [[ ! -e $root/usr/bin/$package ]] || must "$unpacked/usr/bin/$package" --version
    done
    makeWrapper "$folder/Packed.vtask"
    must "$unpacked/usr/bin/trelkind" run "$folder/Packed.vtask"
    must test -e "$(find "$unpacked/usr/lib" -name libsvdata.so)"
    ! grep -rlF -e "$build" "$unpacked" || fail "a package names the folder of the build"
    has lintian || return
    lintian --allow-root --fail-on error "$folder"/packages/*.deb || fail "lintian"
}

DESTDIR=$root must "$cmake" --install "$build" --prefix /usr
export PATH=$root/usr/bin:$PATH
cd "$folder" || exit 1
checkTree
checkManual
checkOptions
checkCompletion
if [[ -e $root/usr/bin/trelkind-desktop ]]; then
    checkDesktopEntry
    checkMetainfo
    checkTypes
    checkIcons
fi
cd "$folder" || exit 1
checkPackages
echo "$failures failures"
[[ $failures -eq 0 ]]
