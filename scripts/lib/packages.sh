# shellcheck shell=bash
# Sourced by the scripts that install what they need.

# What every build needs.
build_packages=(g++ cmake ninja-build ccache pkg-config libicu-dev libplist-dev libgtkmm-4.0-dev
  libglib2.0-dev libsqlite3-dev libssl-dev libiberty-dev)

# Runs a command as root: as it is when we are root, else through sudo.
as_root() {
  if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

is_installed() {
  [ "$(dpkg-query -W -f='${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

# Installs packages without letting a service of theirs start: a package such as openssh-server would otherwise
# leave a daemon running on the machine of whoever only wanted to build.
install_quietly() (
  policy=/usr/sbin/policy-rc.d
  if [ ! -e "$policy" ]; then
    trap 'as_root rm -f "$policy"' EXIT
    trap 'exit 129' HUP
    trap 'exit 130' INT
    trap 'exit 143' TERM
    printf '#!/bin/sh\nexit 101\n' | as_root tee "$policy" >/dev/null
    as_root chmod 755 "$policy"
  fi
  as_root apt-get update -q
  as_root env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends "$@"
)

# require_packages NAME...: installs those that are missing; silent and quick when none is.
require_packages() {
  local name missing=()
  for name in "$@"; do
    is_installed "$name" || missing+=("$name")
  done
  [ ${#missing[@]} -eq 0 ] && return
  echo "Installing ${missing[*]}"
  install_quietly "${missing[@]}"
}
