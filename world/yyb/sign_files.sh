#!/usr/bin/env bash
# sign_files.sh OUT (WHO NAME FILE)...: copies each FILE to OUT/NAME, signed in the name of WHO: company, stranger, or
# nobody to leave it unsigned. Keys and certificates are made for this run and deleted. Puts the logo beside them.
set -euo pipefail
out=$1
shift
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$out"

certificate() {
  printf '[req]\ndistinguished_name=dn\nprompt=no\nutf8=yes\nx509_extensions=v3\n[v3]\nextendedKeyUsage=codeSigning\n' \
    >"$work/$1.cnf"
  printf '[dn]\nC=CN\nO=A throw-away organisation\nCN=%s\n' "$2" >>"$work/$1.cnf"
  openssl req -x509 -newkey rsa:2048 -nodes -utf8 -config "$work/$1.cnf" -days 3000 -keyout "$work/$1.key" \
    -out "$work/$1.pem" 2>/dev/null
}
certificate company 'Tencent Technology (Shenzhen) Company Limited'
certificate stranger 'Somebody else'

while [ $# -gt 0 ]; do
  mkdir -p "$(dirname "$out/$2")"
  rm -f "$out/$2"
  if [ "$1" = nobody ]; then
    cp "$3" "$out/$2"
  else
    osslsigncode sign -h sha256 -certs "$work/$1.pem" -key "$work/$1.key" -in "$3" -out "$out/$2" >"$work/log" 2>&1 ||
      { cat "$work/log" >&2; exit 1; }
  fi
  shift 3
done
# One transparent pixel.
base64 -d >"$out/androws_logo.png" <<'PNG'
iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mNkYPhfDwAChwGA60e6kgAAAABJRU5ErkJggg==
PNG
touch "$out/.signed"
