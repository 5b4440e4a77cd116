# shellcheck shell=bash
# installMissing LOG "PACKAGE|WHY"...
#
# Installs the Debian packages that are missing, after saying which and why, and
# ends the script when that fails. Does nothing when all are there. Needs
# progress.sh.

isInstalled() {
  [ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

installMissing() {
  local log=$1 missing=() entry
  shift
  for entry in "$@"; do
    isInstalled "${entry%%|*}" || missing+=("$entry")
  done
  [ ${#missing[@]} = 0 ] && return

  echo "Installing from Debian:"
  for entry in "${missing[@]}"; do
    printf '  %-22s %s\n' "${entry%%|*}" "${entry#*|}"
  done

  local root=() names=("${missing[@]%%|*}")
  if [ "$(id -u)" != 0 ]; then
    if ! command -v sudo >/dev/null; then
      echo "That needs root, and there is no sudo. As root, run" >&2
      echo "  apt-get install ${names[*]}" >&2
      exit 1
    fi
    root=(sudo)
  fi
  # A machine that has just started may be busy with upgrades of its own.
  local apt=("${root[@]}" env DEBIAN_FRONTEND=noninteractive
    apt-get -q -o DPkg::Lock::Timeout=300)
  # Package lists may be absent or too old to name files that still exist.
  install() {
    "${apt[@]}" install -y --no-install-recommends "${names[@]}"
  }
  updateAndInstall() {
    "${apt[@]}" update && install
  }
  if ! watched "$log" install && ! watched "$log" updateAndInstall; then
    tail -n 15 "$log" >&2
    echo "The installation failed; $log has it all." >&2
    exit 1
  fi
}
