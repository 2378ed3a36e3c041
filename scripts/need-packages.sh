# Sourced by the scripts in this folder: need_packages PKG... installs the Debian packages that
# are missing (with apt-get when run as root; otherwise it prints the apt-get line and exits 2).
need_packages() {
    local need=() pkg
    for pkg in "$@"; do
        dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q "install ok installed" ||
            need+=("$pkg")
    done
    [ ${#need[@]} -gt 0 ] || return 0
    if [ "$(id -u)" -eq 0 ]; then
        echo "== installing ${need[*]}"
        export DEBIAN_FRONTEND=noninteractive
        apt-get update -qq
        apt-get install -y -qq "${need[@]}" >/dev/null
    else
        echo "missing Debian packages: ${need[*]}" >&2
        echo "run: sudo apt-get update && sudo apt-get install -y ${need[*]}" >&2
        exit 2
    fi
}
