#!/bin/bash
# Builds the corpora of the codec benchmark from what this machine holds: a file of 12,000,000 bytes each, and the folder
# `small` of files that are measured one by one. What is there already stays as it is, so that figures can be compared
# from run to run.
#
#   benchmarks/Codec/corpora.sh [FOLDER]      build/bench/corpora without FOLDER
set -euo pipefail
export LC_ALL=C

# A larger corpus would take longer to tell the same.
wanted=12000000
# In a smaller one, a few files would decide the figures.
needed=10000000
# In find's notation. Larger files would be a corpus of their own; with at most this much each, several make one.
largest=2000k
# More would make the run longer, fewer would let single files count.
small_files=2000

# What to install where a corpus stays too small.
declare -A remedy=(
  [headers]="libboost-dev" [source]="python3 perl cmake" [binaries]="binutils gdb" [libraries]="libicu-dev libssl-dev"
  [xml-json]="iso-codes shared-mime-info" [text]="manpages manpages-dev perl-doc" [database]="sqlite3"
  [logs]="strace python3 cmake git" [media]="adwaita-icon-theme python3-pip-whl" [small]="linux-libc-dev python3"
)

root=$(realpath -- "$(dirname "$0")/../..")
folder=${1:-$root/build/bench/corpora}
mkdir -p -- "$folder"
folder=$(realpath -- "$folder")
work=$(mktemp -d "$folder/.building.XXXXXX")
trap 'rm -rf "$work"' EXIT

# listed FOLDER... -- TEST...: size and path of the files below the folders that find's tests let through, in the order
# of the paths. Only what everybody may read: no key gets into a corpus.
listed() {
  local folders=()
  while [[ $1 != -- ]]; do
    [[ ! -d $1 ]] || folders+=("$1")
    shift
  done
  shift
  { find "${folders[@]}" -type f -perm -o=r -size +0 -size -$largest ! -path $'*\n*' -regextype egrep "$@" \
    -printf '%s\t%p\n' 2>/dev/null || true; } | sort -t $'\t' -k 2
}

only_elf() {
  local size path magic
  while IFS=$'\t' read -r size path; do
    IFS= read -rN 4 magic <"$path" 2>/dev/null || true
    [[ $magic != $'\x7fELF' ]] || printf '%s\t%s\n' "$size" "$path"
  done
}

# sample BYTES [GROWTH]: the paths of so many bytes of files, taken evenly from the whole list: neighbours are alike, and
# the first of the alphabet are no sample. Packed files count GROWTH times, as when they are unpacked.
sample() {
  awk -F '\t' -v wanted="$1" -v growth="${2:-1}" '
    { path[NR] = $2; size[NR] = $2 ~ /\.gz$/ ? growth * $1 : $1; total += size[NR] }
    END {
      share = total > wanted ? wanted / total : 1
      for (i = 1; i <= NR; i++) {
        seen += size[i]
        if (taken < seen * share) { print path[i]; taken += size[i] }
      }
    }'
}

# evenly COUNT: so many of the lines, or all.
evenly() {
  awk -v count="$1" '
    { line[NR] = $0 }
    END { for (i = 1; i <= NR; i++) if (NR <= count || int(i * count / NR) > int((i - 1) * count / NR)) print line[i] }'
}

joined() { xargs -r -d '\n' cat --; }
unpacked() { xargs -r -d '\n' zcat -f --; }

build_headers() { listed /usr/include /usr/lib/gcc -- -regex '/usr/include/.*|.*\.h' | sample $wanted | joined; }

build_source() {
  listed /usr/lib /usr/share "$root/src" "$root/tests" "$root/scripts" -- \
    -regex '.*\.(py|pl|pm|sh|cmake|rb|js|tcl|el|lua|c|cpp|java|go|rs)' | sample $wanted | joined
}

build_binaries() { listed /usr/bin /usr/sbin /usr/libexec -- | only_elf | sample $wanted | joined; }

build_libraries() { listed /usr/lib -- -name '*.so*' | only_elf | sample $wanted | joined; }

build_xml-json() { listed /usr/lib /usr/share -- -regex '.*\.(xml|json|svg|xsl|xsd|ui)' | sample $wanted | joined; }

build_text() {
  listed /usr/share/man /usr/share/doc /usr/share/common-licenses /usr/share/perl /usr/lib -- \
    -regex '.*(/man[1-8]/.*\.gz|\.(txt|md|rst)(\.gz)?|\.pod|/copyright|/common-licenses/.*|/changelog.*\.gz)' |
    sample $wanted 3 | unpacked
}

# A line in find's format for everything that is installed.
everything() { find /usr -xdev ! -path $'*\n*' -printf "$1" 2>/dev/null || true; }

# Tables of what is installed. The indices are there before the rows, as in a database that has grown.
build_database() {
  local fields='${Package}\t${Version}\t${Architecture}\t${Section}\t${Installed-Size}\t${Maintainer}\t${Depends}'
  dpkg-query -W -f "$fields"'\t${binary:Summary}\n' | tr -d '"' >"$work/packages"
  cat /var/lib/dpkg/info/*.md5sums | sort -k 2 | evenly 20000 | sed 's/  /\t/' | tr -d '"' >"$work/checksums"
  everything '%p\t%y\t%s\t%m\t%u\t%g\t%T@\t%i\n' | sort | evenly 60000 | tr -d '"' >"$work/files"
  sqlite3 "$work/database.sqlite" >/dev/null <<SQL
PRAGMA journal_mode = OFF;
CREATE TABLE package(name TEXT, version TEXT, architecture TEXT, section TEXT, size INTEGER, maintainer TEXT,
                     depends TEXT, summary TEXT);
CREATE INDEX package_by_section ON package(section, name);
CREATE TABLE checksum(md5 TEXT, path TEXT);
CREATE INDEX checksum_by_md5 ON checksum(md5);
CREATE TABLE file(path TEXT, kind TEXT, size INTEGER, mode INTEGER, owner TEXT, party TEXT, changed REAL, inode INTEGER);
CREATE INDEX file_by_path ON file(path);
CREATE INDEX file_by_size ON file(size);
CREATE INDEX file_by_change ON file(changed);
.mode tabs
.import $work/packages package
.import $work/checksums checksum
.import $work/files file
SQL
  cat "$work/database.sqlite"
}

# up_to BYTES COMMAND...: the beginning of all that a command says. Whether it succeeds is of no interest.
up_to() {
  local bytes=$1
  shift
  { "$@" 2>&1 || true; } | head -c "$bytes"
}

# What the machine has logged, then what programs tell of their own work, then when which file was changed.
build_logs() {
  local imports='import asyncio, email, http.client, json, sqlite3, ssl, unittest, xml.dom'
  { listed /var/log -- -regex '.*(log|messages)(\.[0-9]+)?(\.gz)?' | cut -f 2 | unpacked; } | up_to 4000000 cat
  up_to 2000000 journalctl --quiet --no-pager
  up_to 1500000 strace -f -tt -T find /usr/share/doc -newer /etc/passwd
  up_to 1000000 strace -f -tt python3 -c "$imports"
  up_to 1500000 env LD_DEBUG=all python3 -c "$imports"
  up_to 1000000 python3 -v -c "$imports"
  up_to 2000000 cmake -S "$root" -B "$work/trace" --trace-expand
  everything '%TY-%Tm-%TdT%TT %u:%g %M %s %p\n' | sort | evenly 60000
}

# Half of pictures, sounds and fonts, as far as there are any, the rest of archives.
build_media() {
  listed /usr/lib /usr/share -- -size +8k -regex '.*\.(png|jpe?g|gif|webp|woff2?|mp3|ogg|oga|flac|mp4|webm)' |
    sample $((wanted / 2)) | joined >"$work/pictures"
  listed /usr/lib /usr/share -- -size +8k -regex '.*\.(gz|tgz|xz|zst|bz2|zip|jar|whl|7z)' |
    sample $((wanted - $(stat -c %s "$work/pictures"))) | joined | cat "$work/pictures" -
}

build_small() {
  local number=10000 path
  mkdir "$work/small"
  listed /etc /usr/include /usr/lib /usr/share -- -size +4095c -size -16385c | cut -f 2 | evenly $small_files |
    while IFS= read -r path; do
      number=$((number + 1))
      cp -- "$path" "$work/small/$number"
    done
}

too_small() {
  echo "corpora.sh: this machine gives $2 for the corpus '$1', which takes $3; install, for example: ${remedy[$1]}" >&2
  exit 1
}

for corpus in headers source binaries libraries xml-json text database logs media; do
  [[ ! -e $folder/$corpus ]] || continue
  "build_$corpus" >"$work/$corpus"
  size=$(stat -c %s "$work/$corpus")
  ((size >= needed)) || too_small $corpus "$size bytes" $needed
  ((size <= wanted)) || truncate -s $wanted "$work/$corpus"
  mv "$work/$corpus" "$folder/"
done
if [[ ! -e $folder/small ]]; then
  build_small
  count=$(find "$work/small" -type f | wc -l)
  ((count == small_files)) || too_small small "$count files" $small_files
  mv "$work/small" "$folder/"
fi
