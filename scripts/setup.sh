# Sourced by ./run, ./test and .ci/run: which Debian packages each job needs, and their installation.

# The library and the command-line program.
packages_build=(cmake ninja-build g++ libhwy-dev libcli11-dev nlohmann-json3-dev libpng-dev zlib1g-dev)
# The tests: the framework, and the independent libraries that results are held against; the natives on
# a Java virtual machine.
packages_test=(libgtest-dev libjpeg62-turbo-dev libturbojpeg0-dev libpng-dev libgif-dev libexiv2-dev openjdk-17-jdk-headless)
packages_bench=(libbenchmark-dev libjpeg62-turbo-dev libturbojpeg0-dev libyuv-dev libgif-dev libraw-dev libvips-tools time)
# The wider checks of .ci/run: sanitizers and fuzzing, the builds for ARM, other CPUs, the installed package, the raw
# developers and tag readers that some tests ask where they are installed.
packages_checks=(clang clang-format llvm libclang-rt-dev g++-aarch64-linux-gnu g++-arm-linux-gnueabihf qemu-user-static googletest
  pkg-config binutils dcraw libraw-bin libtiff-tools libimage-exiftool-perl)

# The page of vorel tiles in a browser; perl drives it.
packages_browser=(chromium chromium-driver perl)

say() { printf '%s\n' "$*" >&2; }
die() { say "$(basename "$0"): $*"; exit 1; }

is_installed() { [ "$(dpkg-query -W -f='${db:Status-Status}' "$1" 2>/dev/null)" = installed ]; }

# Runs a command as root. apt-get asks nothing and waits for another one to end.
as_root() {
  if [ "$(id -u)" = 0 ]; then
    "$@"
  elif command -v sudo >/dev/null; then
    sudo "$@"
  else
    return 127
  fi
}

apt() { as_root env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=300 -qq "$@" </dev/null >&2; }

# Installs what is missing of the named packages, and says so.
ensure_packages() {
  local package
  local -a missing=()
  if ! command -v dpkg-query >/dev/null; then
    say "No dpkg here: going on without a check of these Debian packages: $*"
    return
  fi
  for package in "$@"; do
    is_installed "$package" || case " ${missing[*]} " in *" $package "*) ;; *) missing+=("$package") ;; esac
  done
  [ ${#missing[@]} = 0 ] && return
  if [ "$(id -u)" != 0 ] && ! command -v sudo >/dev/null; then
    die "these packages are missing, and there is no sudo to install them with: ${missing[*]}"
  fi
  say "Installing ${missing[*]}"
  # The lists may be absent (a fresh image) or too old; they are fetched only when an install needs it.
  apt install -y --no-install-recommends "${missing[@]}" 2>/dev/null && return
  say "Fetching the package lists"
  apt update || die "apt-get update failed"
  apt install -y --no-install-recommends "${missing[@]}" || die "apt-get could not install: ${missing[*]}"
}
