# Debian package helpers shared by the scripts (sourced, not run).

# Whether the package is installed.
installed() { dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q "install ok installed"; }

# A mirror whose foreign-architecture lists lag fails the update; the lists it has still serve.
apt_update() {
  apt-get update || echo "apt-get update reported errors; going on with the lists it has" >&2
}

# Installs those of the packages that are missing (as root; otherwise names them and exits 1).
#   install_missing [--no-install-recommends] PACKAGE...
install_missing() {
  local options=() missing=() p
  if [ "${1:-}" = --no-install-recommends ]; then options+=("$1"); shift; fi
  for p in "$@"; do installed "$p" || missing+=("$p"); done
  [ ${#missing[@]} -gt 0 ] || return 0
  if [ "$(id -u)" -ne 0 ]; then
    echo "missing packages: ${missing[*]} (run as root to install them)" >&2
    exit 1
  fi
  export DEBIAN_FRONTEND=noninteractive
  apt_update
  apt-get install -y "${options[@]}" "${missing[@]}"
}
