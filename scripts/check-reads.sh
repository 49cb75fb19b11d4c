#!/usr/bin/env bash
# Finds file reads that bypass the bounded regular-file reader (FS::readRegularFile): a QFile
# opened for reading, readAll, std::ifstream, fopen, QSettings. Such a read of a file in the data
# folder or the install hangs on a FIFO and grows without end on a link to /dev/zero. A read that
# is rightly elsewhere (the kernel's /sys files) says why on its line or the line before with
# "read-check:". Usage: check-reads.sh [FOLDER...] (default: the sources); exits 1 on a finding.
set -euo pipefail
cd "$(dirname "$0")/.."
folders=("$@")
[ ${#folders[@]} -gt 0 ] || folders=(layer platform apps)
pattern='QIODevice::Read|readAll[[:space:]]*\(|std::ifstream|std::fstream|fopen[[:space:]]*\(|QSettings|QFile::map'
found=0
while IFS= read -r file; do
  # The reader itself is the one place that opens files for reading.
  [ "$file" = platform/util/fs.cpp ] && continue
  while IFS=: read -r line _; do
    previous=$((line > 1 ? line - 1 : 1))
    if ! sed -n "${previous},${line}p" "$file" | grep -q 'read-check:'; then
      echo "$file:$line: a read that does not go through FS::readRegularFile:"
      sed -n "${line}p" "$file"
      found=1
    fi
  done < <(grep -nE "$pattern" "$file" || true)
done < <(find "${folders[@]}" -type f \( -name '*.cpp' -o -name '*.h' \) | sort)
if [ $found -ne 0 ]; then
  echo "Read such files with FS::readRegularFile, or say why not with \"read-check:\"." >&2
  exit 1
fi
