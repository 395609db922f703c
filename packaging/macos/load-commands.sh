# Sourced: what the Mach-O files of a bundle ask of the system. Needs otool of Apple's command line tools.
# shellcheck shell=bash

# binaries APP: its Mach-O files, one a line; links to them are left out.
binaries() {
  local file
  while IFS= read -r -d '' file; do
    case "$(od -An -tx4 -N4 "$file")" in
      *feedfacf* | *bebafeca*) printf '%s\n' "$file" ;;
    esac
  done < <(find "$1/Contents" -type f -print0)
}

# load_commands FILE: lines "load NAME", "rpath FOLDER" and "oldest VERSION" (Apple's mach-o/loader.h).
load_commands() {
  otool -l "$1" | awk '
    $1 == "cmd" { command = $2 }
    { value = $0; sub(/^ *[a-z]+ /, "", value); sub(/ \(offset [0-9]+\)$/, "", value) }
    command ~ /^LC_(LOAD|REEXPORT|LAZY_LOAD).*_DYLIB$/ && $1 == "name" { print "load", value }
    command == "LC_RPATH" && $1 == "path" { print "rpath", value }
    command == "LC_BUILD_VERSION" && $1 == "minos" { print "oldest", value }
    command == "LC_VERSION_MIN_MACOSX" && $1 == "version" { print "oldest", value }'
}

# oldest_system APP: the oldest macOS on which all of it starts.
oldest_system() {
  local file
  binaries "$1" | while IFS= read -r file; do load_commands "$file"; done |
    sed -n 's/^oldest //p' | sort -V | tail -n 1
}
