# Sourced by ./run and ./test: installs the packages that this machine lacks, and builds.
# shellcheck shell=bash disable=SC2034

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# One of several names is written "first|second": the first that the suite has is installed, unless another is there
# already, as versions of Boost can't be installed together. "name?" is left out where there is none.
build_packages=(
  ca-certificates ccache cmake g++ ninja-build pkg-config
  'libboost-dev|libboost1.81-dev' libcurl4-openssl-dev libicu-dev libplist-dev libssl-dev libzstd-dev
  fonts-noto-cjk libxcb1-dev nlohmann-json3-dev qt6-base-dev qt6-svg-dev
)
package_packages=(dpkg-dev file)
demo_packages=(curl iproute2 libnss-wrapper runit)
bench_packages=(caddy haproxy iproute2 nginx nodejs npm openssl procps python3 runit systemd util-linux wrk)
fuzz_packages=(clang libclang-rt-dev)
test_packages=(
  "${fuzz_packages[@]}" 'chromium-headless-shell?' 'clang-format-14?' clang-tidy curl dbus haproxy libgmock-dev
  libgtest-dev libnss-wrapper microsocks nginx nodejs npm openssl procps python3 runit systemd tinyproxy-bin util-linux zstd
  at-spi2-core gir1.2-atspi-2.0 gobjc++ imagemagick libglib2.0-bin libgnustep-gui-dev
  openbox python3-dbusmock python3-gi qt6-wayland trayer weston xauth xdotool xvfb
  "${package_packages[@]}" appstream binutils desktop-file-utils hicolor-icon-theme icnsutils iproute2 librsvg2-bin
  lintian llvm man-db shellcheck
)

say() { printf '%s\n' "$*"; }
fail() {
  printf '%s\n' "$*" >&2
  exit 1
}

# as_root COMMAND...: runs it with sudo unless this is root.
as_root() {
  if [ "$(id -u)" -eq 0 ]; then
    "$@"
  elif command -v sudo >/dev/null; then
    sudo "$@"
  else
    fail "not root, and sudo is not installed: can't run $*"
  fi
}

is_installed() { dpkg-query -W -f '${db:Status-Status}\n' "$1" 2>/dev/null | grep -qx installed; }

# package_here ENTRY: the first of its names that this system's apt knows.
package_here() {
  local name
  for name in ${1//[|?]/ }; do
    # A name that other packages only refer to has no record, though apt-cache succeeds.
    if [ "$name" = "$1" ] || [ -n "$(apt-cache show "$name" 2>/dev/null)" ]; then
      printf '%s\n' "$name"
      return
    fi
  done
  [[ $1 = *\? ]] || printf '%s\n' "${1%%|*}"
}

missing_packages() {
  local entry name
  for entry in "$@"; do
    # A program that came another way than by its package serves as well.
    case "$entry" in
      nodejs) command -v node >/dev/null && continue ;;
      npm) command -v npm >/dev/null && continue ;;
    esac
    for name in ${entry//[|?]/ }; do is_installed "$name" && continue 2; done
    package_here "$entry"
  done
}

# logged LOG COMMAND...: with its output in LOG, which is shown where the command fails.
logged() {
  local log=$1
  shift
  "$@" >"$log" 2>&1 || {
    tail -n 20 "$log" >&2
    fail "Packages could not be installed; the whole output is in $log"
  }
}

install_debian_packages() {
  local missing log
  mapfile -t missing < <(missing_packages "$@")
  [ ${#missing[@]} -eq 0 ] && return
  log=$(mktemp)
  logged "$log" as_root apt-get update -q
  mapfile -t missing < <(missing_packages "$@") # what is known by which name may have changed
  say "Installing ${#missing[@]} packages: ${missing[*]}"
  logged "$log" as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends "${missing[@]}"
  rm -f "$log"
  # A virtual package would count as missing every time.
  mapfile -t missing < <(missing_packages "${missing[@]}")
  [ ${#missing[@]} -eq 0 ] || fail "apt-get installed other packages for: ${missing[*]}; name the real packages in tools/bootstrap.sh"
}

# install_packages PACKAGE...: installs Debian's packages; on macOS what the Brewfile lists.
install_packages() {
  case "$(uname -s)" in
    Darwin)
      command -v brew >/dev/null || fail "Homebrew is missing: install it first, then run this again"
      brew bundle check --file "$root/Brewfile" >/dev/null || brew bundle install --file "$root/Brewfile" ||
        fail "brew could not install what the Brewfile lists"
      # Homebrew doesn't link these into its prefix. libcurl is the system's, which trusts what the Keychain trusts.
      CMAKE_PREFIX_PATH=$(brew --prefix icu4c):$(brew --prefix openssl@3)
      export CMAKE_PREFIX_PATH
      ;;
    *)
      command -v apt-get >/dev/null || fail "neither apt-get nor Homebrew here: install what tools/bootstrap.sh lists"
      install_debian_packages "$@"
      ;;
  esac
}

# install_node_packages FOLDER: installs what its lock file lists, unless that has been done.
install_node_packages() {
  local folder=$root/$1 log
  cmp -s "$folder/package-lock.json" "$folder/node_modules/.installed-lock.json" && return
  say "Installing the Node packages of $1"
  log=$(mktemp)
  (cd "$folder" && npm ci) >"$log" 2>&1 || {
    tail -n 20 "$log" >&2
    fail "npm could not install the packages of $1; the whole output is in $log"
  }
  cp "$folder/package-lock.json" "$folder/node_modules/.installed-lock.json"
  rm -f "$log"
}

# application BUILD_TREE: prints the path of the application in it.
application() {
  case "$(uname -s)" in
    Darwin) printf '%s\n' "$1/Ferrin Relay.app/Contents/MacOS/Ferrin Relay" ;;
    *) printf '%s\n' "$1/bin/ferrin-relay" ;;
  esac
}

# build PRESET [CMAKE_OPTION...]: configures and builds, and shows the compiler's progress.
build() {
  local preset=$1
  shift
  say "Building $preset"
  local log="$root/build/$preset-configure.log"
  mkdir -p "$root/build"
  (cd "$root" && cmake --preset "$preset" "$@") >"$log" 2>&1 || {
    tail -n 30 "$log" >&2
    fail "$preset could not be configured"
  }
  (cd "$root" && cmake --build --preset "$preset") || fail "$preset could not be built"
}
