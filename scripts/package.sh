#!/usr/bin/env bash
# usage: scripts/package.sh [VERSION FOLDER]
#
# Builds the installer build/package/kelvane-VERSION-x64.msi and tells what it made. With VERSION and FOLDER: the same
# in FOLDER, calling itself VERSION, at most 255.255.65535.65535; for trying upgrades.
#
# Beside kelvane.exe and kelvanectl.exe goes packaging/NOTICES.txt, what the authors of the libraries in them ask for.
# Programs and installer are signed when KELVANE_SIGN_CERT names a certificate and KELVANE_SIGN_KEY its key, both PEM
# files. KELVANE_SIGN_PASS_FILE names a file with the key's pass phrase, KELVANE_SIGN_TIME_URL a time stamp service,
# without which a signature lapses together with the certificate.
# The same commit makes the same bytes, unless they are signed. SOURCE_DATE_EPOCH is the commit's time if it is not set.
# Any warning of a tool fails. Exit codes: 0 built, 1 not built, 2 wrong usage.
#
# Example: scripts/package.sh 1.0.11407.1 build/newer
set -eu
# shellcheck source=common.sh
source "$(dirname "$0")/common.sh"

# Runs a tool of which nothing is heard when all is well.
silently() {
    local said
    if ! said=$("$@" 2>&1) || [ -n "$said" ]; then
        printf '%s: %s\n' "$1" "$said" >&2
        return 1
    fi
}

is_signed() { [ -n "${KELVANE_SIGN_CERT:-}" ]; }

sign() {
    local file=$1 said options=(-certs "$KELVANE_SIGN_CERT" -key "$KELVANE_SIGN_KEY" -h sha256 -n "$product")
    [ -z "${KELVANE_SIGN_PASS_FILE:-}" ] || options+=(-readpass "$KELVANE_SIGN_PASS_FILE")
    [ -z "${KELVANE_SIGN_TIME_URL:-}" ] || options+=(-ts "$KELVANE_SIGN_TIME_URL")
    if ! said=$(osslsigncode sign "${options[@]}" -in "$file" -out "$file.signed" 2>&1 </dev/null); then
        printf 'signing %s failed\n%s\n' "${file##*/}" "$said" >&2
        return 1
    fi
    mv "$file.signed" "$file"
}

signer() {
    if is_signed; then
        openssl x509 -in "$KELVANE_SIGN_CERT" -noout -subject -nameopt RFC2253 | sed 's/^subject=//'
    else
        echo unsigned
    fi
}

# The version after this one, by the three numbers that Windows Installer compares.
next_version() {
    local numbers next
    IFS=. read -ra numbers <<<"$1"
    next=$(((numbers[0] << 24 | numbers[1] << 16 | numbers[2]) + 1))
    echo "$((next >> 24)).$((next >> 16 & 255)).$((next & 65535))"
}

# Each version is a product of its own to Windows Installer, always under the same code.
product_code() {
    uuidgen --sha1 --namespace b7c05b6e-3a3c-4f60-9d5c-5b1f8e1f0a6d --name "$1" | tr '[:lower:]' '[:upper:]'
}

# make_package MSI VERSION: from the files that lie in the same folder.
make_package() {
    (cd "$stage" && silently wixl -a x64 -o "$1" -D "ProductCode=$(product_code "$2")" -D "Version=$2" \
        -D "NextVersion=$(next_version "$2")" -D "Company=${company:?}" -D "Product=${product:?}" \
        -D "Description=${description:?}" "$root/packaging/kelvane.wxs")
    silently /usr/bin/python3 "$root/packaging/complete_tables.py" "$stage/$1" "$product" "${version:?}" \
        "$SOURCE_DATE_EPOCH"
}

# Four numbers without leading zeros, within what Windows Installer can compare.
is_version() {
    local numbers number='(0|[1-9][0-9]{0,4})'
    [[ $1 =~ ^$number\.$number\.$number\.$number$ ]] || return 1
    IFS=. read -ra numbers <<<"$1"
    ((numbers[0] <= 255 && numbers[1] <= 255 && numbers[2] <= 65535 && numbers[3] <= 65535))
}

case $# in
0) ;;
2)
    is_version "$1" || wrong_usage "not a version of four numbers, up to 255.255.65535.65535: $1"
    refuse_line_feed "$2"
    ;;
*) wrong_usage "a version and a folder are needed, or neither" ;;
esac
[ "${KELVANE_SIGN_CERT:+given}" = "${KELVANE_SIGN_KEY:+given}" ] ||
    wrong_usage "KELVANE_SIGN_CERT and KELVANE_SIGN_KEY are needed together"
for file in "${KELVANE_SIGN_CERT:-}" "${KELVANE_SIGN_KEY:-}" "${KELVANE_SIGN_PASS_FILE:-}"; do
    [ -z "$file" ] || [ -r "$file" ] || wrong_usage "needed for signing, but cannot be read: $file"
done

is_signed || sign_packages=()
install_packages "${build_packages[@]}" "${package_packages[@]}" "${sign_packages[@]}"
SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(git -C "$root" log -1 --format=%ct)}
export SOURCE_DATE_EPOCH TZ=UTC
build release kelvane kelvanectl
# shellcheck source=/dev/null
source "$root/build/release/generated/identity.sh"

folder=$(realpath -m -- "${2:-$root/build/package}")
mkdir -p "$folder"
stage=$folder/.making-$$
trap 'rm -rf "$stage"' EXIT
mkdir "$stage"
# Not all of the tools below say what is the matter when the disk is full.
dd if=/dev/zero of="$stage/space" bs=1M count=4 status=none || {
    echo "$folder: there is no room for a package" >&2
    exit 1
}
rm "$stage/space"
for program in kelvane.exe kelvanectl.exe; do
    cp "$root/build/release/$program" "$stage"
    if is_signed; then sign "$stage/$program"; fi
done
sed 's/$/\r/' "$root/packaging/NOTICES.txt" >"$stage/NOTICES.txt"
touch -d "@$SOURCE_DATE_EPOCH" "$stage"/*.exe "$stage/NOTICES.txt"

package=kelvane-${1:-$version}-x64.msi
make_package "$package" "${1:-$version}"
if is_signed; then sign "$stage/$package"; fi
mv "$stage/$package" "$folder"

cd "$folder"
echo "package     $(realpath --relative-base="$root" "$package")"
echo "size        $(stat -c %s "$package") bytes"
echo "sha256      $(sha256sum "$package" | cut -d ' ' -f 1)"
msiinfo export "$package" Property | tr -d '\r' |
    awk -F'\t' '$1 ~ /^(Product|Upgrade)Code$/ { printf "%-12s%s\n", $1, $2 }' | sort
echo "signature   $(signer)"
