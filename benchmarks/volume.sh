#!/bin/bash
# The mount beside the host file system and beside libfuse's passthrough example, in one run. The example stands there
# twice: as its documentation mounts it, when nobody checks permissions, and with default_permissions, as a volume is
# mounted. The kernel then asks for a folder's attributes again after each change in it.
#
#   benchmarks/volume.sh FOLDER      FOLDER is made, used and removed again
#   ROUNDS=3   SIZE=256 (MiB)   FILES=2000
set -euo pipefail
[[ $# -eq 1 && $EUID -eq 0 ]] || { sed -n '2,7s/^# \{0,1\}//p' "$0" >&2; echo "Needs root: it drops the kernel's caches." >&2; exit 2; }
cd "$(dirname "$0")/.."
cmake --build --preset release --target VolumeBenchmark quillbrookctl quillbrook-volume >/dev/null
bin=$PWD/build/release/bin
mkdir -p "$1"; base=$(realpath "$1")
finish() {
  umount -l "$base/peer" "$base/checked" 2>/dev/null || true
  mountpoint -q "$base/ours" && "$bin/quillbrookctl" volume unmount "$base/ours" >/dev/null
  rm -rf "$base/host" "$base/ours" "$base"/{peer,checked}{,.source}
}
trap finish EXIT
mkdir -p "$base"/{host,ours} "$base"/{peer,checked}{,.source}
targets=("host=$base/host")
example=/usr/share/doc/libfuse3-dev/examples/passthrough_ll.c
if [[ -e $example || -e $example.gz ]]; then
  mkdir -p build/peer
  if [[ -e $example.gz ]]; then gzip -dc "$example.gz" >build/peer/passthrough_ll.c; else cp "$example" build/peer/; fi
  cp "$(dirname "$example")"/passthrough_helpers.h build/peer/ 2>/dev/null || true
  if gcc -O2 -w -o build/peer/passthrough_ll build/peer/passthrough_ll.c $(pkg-config --cflags --libs fuse3) 2>/dev/null; then
    build/peer/passthrough_ll -o "source=$base/peer.source,cache=always,timeout=3600" "$base/peer"
    build/peer/passthrough_ll -o "source=$base/checked.source,cache=always,timeout=3600,default_permissions" "$base/checked"
    targets+=("passthrough_ll=$base/peer" "ll, checked=$base/checked")
  else
    echo "volume: libfuse's example does not compile here; it is left out" >&2
  fi
else
  echo "volume: libfuse's example is not installed (documentation left out of this system?); it is left out" >&2
fi
"$bin/quillbrookctl" volume mount "$base/ours" >/dev/null
targets+=("volume=$base/ours")
"$bin/VolumeBenchmark" ordinary "${ROUNDS:-3}" "${SIZE:-256}" "${FILES:-2000}" "${targets[@]}"

# One large compressible file: an archive of headers, the same bytes everywhere.
tar -C /usr/include -cf "$base/host/large.tar" .
cp "$base/host/large.tar" "$base/ours/large.tar"
"$bin/quillbrookctl" compress -- "$base/ours/large.tar" >/dev/null
cmp "$base/host/large.tar" "$base/ours/large.tar"
echo
"$bin/VolumeBenchmark" compressed "${ROUNDS:-3}" "host=$base/host/large.tar" "compressed=$base/ours/large.tar"
