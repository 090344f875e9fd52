#!/usr/bin/env bash
# make_signed.sh OUT: makes signed executables with throw-away keys in the folder OUT, for the tests of the signer check.
# Every file's signer is in OUT/signers.txt: file, thumbprint, subject, issuer, separated by tabs.
set -euo pipefail
out=$(mkdir -p "$1" && cd "$1" && pwd)
work=$(mktemp -d)
server=
trap '[ -z "$server" ] || kill "$server"; rm -rf "$work"' EXIT
cd "$work"
# The time-stamp server is our own.
unset http_proxy HTTP_PROXY all_proxy ALL_PROXY

company='Tencent Technology (Shenzhen) Company Limited'
rm -f "$out"/*

# The smallest files that still have the headers of a PE32 and a PE32+ image.
python3 - <<'EOF'
import struct
for name, machine, magic, optional in (("pe32.exe", 0x14C, 0x10B, 224), ("pe64.dll", 0x8664, 0x20B, 240)):
    dos = b"MZ".ljust(60, b"\0") + struct.pack("<I", 64)
    coff = struct.pack("<HHIIIHH", machine, 1, 0, 0, 0, optional, 0x2022)
    fixed = 96 if magic == 0x10B else 112
    header = bytearray(fixed)
    struct.pack_into("<HBBI", header, 0, magic, 1, 0, 512)
    struct.pack_into("<II", header, 32, 4096, 512)            # alignment of sections in memory and in the file
    struct.pack_into("<HHHHHH", header, 40, 6, 0, 0, 0, 6, 0)  # versions
    struct.pack_into("<II", header, 56, 8192, 512)            # size of the image and of the headers
    struct.pack_into("<H", header, 68, 3)                     # console
    struct.pack_into("<I", header, fixed - 4, 16)             # data directories
    section = b".text\0\0\0" + struct.pack("<IIIIIIHHI", 16, 4096, 512, 512, 0, 0, 0, 0, 0x60000020)
    head = dos + b"PE\0\0" + coff + bytes(header) + bytes(16 * 8) + section
    open(name, "wb").write(head.ljust(512, b"\0") + b"\xC3".ljust(512, b"\0"))
EOF
cp pe64.dll "$out/unsigned.dll"

openssl genrsa -out key.pem 2048 2>/dev/null
openssl genrsa -out root.key 2048 2>/dev/null

# request NAME STRING_MASK CN [OU]: a configuration for one subject.
request() {
  { printf '[req]\ndistinguished_name=dn\nprompt=no\nutf8=yes\nstring_mask=%s\nx509_extensions=v3\n' "$2"
    printf '[v3]\nextendedKeyUsage=codeSigning\n[dn]\nC=CN\nO=An organisation\n'
    [ -z "${4:-}" ] || printf 'OU=%s\n' "$4"
    printf 'CN=%s\n' "$3"; } >"$1.cnf"
}
# self_signed NAME STRING_MASK CN [OU]
self_signed() {
  request "$@"
  openssl req -x509 -new -key key.pem -utf8 -config "$1.cnf" -days 3000 -out "$1.pem" 2>/dev/null
}
# issued NAME STRING_MASK CN EXTENSIONS: by the root.
issued() {
  request "$1" "$2" "$3"
  openssl req -new -key key.pem -utf8 -config "$1.cnf" -out "$1.csr" 2>/dev/null
  printf '%s\n' "$4" >"$1.ext"
  openssl x509 -req -in "$1.csr" -CA root.pem -CAkey root.key -CAcreateserial -days 3000 -extfile "$1.ext" \
    -out "$1.pem" 2>/dev/null
}
# note FILE CERTIFICATE SUBJECT ISSUER
note() {
  local print
  print=$(openssl x509 -in "$2" -noout -fingerprint -sha1 | sed 's/.*=//; s/://g' | tr A-F a-f)
  printf '%s\t%s\t%s\t%s\n' "$1" "$print" "$3" "$4" >>"$out/signers.txt"
}
# sign FILE INPUT CERTIFICATES [OPTIONS...]
sign() {
  local file=$1 input=$2 certificates=$3
  shift 3
  osslsigncode sign -h sha256 -certs "$certificates" -key key.pem "$@" -in "$input" -out "$out/$file" >sign.log 2>&1 ||
    { cat sign.log >&2; return 1; }
}

# One string type after the other; the masks are OpenSSL's.
for kind in utf8:utf8only printable:MASK:2 t61:MASK:4 bmp:MASK:2048; do
  name=${kind%%:*}
  self_signed "$name" "${kind#*:}" "$company" "A unit"
  sign "$name.dll" pe64.dll "$name.pem"
  note "$name.dll" "$name.pem" "$company" "$company"
done
sign pe32.exe pe32.exe utf8.pem
note pe32.exe utf8.pem "$company" "$company"
for kind in utf8:utf8only bmp:MASK:2048; do
  name=chinese_${kind%%:*}
  self_signed "$name" "${kind#*:}" "深圳市某某公司"
  sign "$name.dll" pe64.dll "$name.pem"
  note "$name.dll" "$name.pem" "深圳市某某公司" "深圳市某某公司"
done
self_signed stranger utf8only "Somebody else"
sign stranger.dll pe64.dll stranger.pem
note stranger.dll stranger.pem "Somebody else" "Somebody else"

# A chain, and a time stamp whose certificate is in the set as well.
request root utf8only "Example Root"
sed -i 's/^extendedKeyUsage.*/basicConstraints=critical,CA:TRUE/' root.cnf
openssl req -x509 -new -key root.key -utf8 -config root.cnf -days 3000 -out root.pem 2>/dev/null
issued leaf utf8only "$company" 'extendedKeyUsage=codeSigning'
issued tsa utf8only "Example Time Stamp Service" 'extendedKeyUsage=critical,timeStamping'
cat leaf.pem root.pem >chain.pem
sign chain.dll pe64.dll chain.pem
note chain.dll leaf.pem "$company" "Example Root"

cat >tsa.cnf <<'EOF'
[tsa]
default_tsa=service
[service]
serial=tsa.serial
signer_cert=tsa.pem
certs=root.pem
signer_key=key.pem
signer_digest=sha256
default_policy=1.2.3.4.1
digests=sha1,sha256,sha384,sha512
accuracy=secs:1
ess_cert_id_chain=no
EOF
echo 01 >tsa.serial
cat >tsa.py <<'EOF'
import http.server, subprocess
class Handler(http.server.BaseHTTPRequestHandler):
    def do_POST(self):
        open("query.tsq", "wb").write(self.rfile.read(int(self.headers["Content-Length"])))
        subprocess.run(["openssl", "ts", "-reply", "-config", "tsa.cnf", "-queryfile", "query.tsq", "-out", "reply.tsr"],
                       check=True, stderr=subprocess.DEVNULL)
        body = open("reply.tsr", "rb").read()
        self.send_response(200)
        self.send_header("Content-Type", "application/timestamp-reply")
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)
    def log_message(self, *arguments):
        pass
server = http.server.HTTPServer(("127.0.0.1", 0), Handler)
print(server.server_port, flush=True)
server.serve_forever()
EOF
mkfifo port
python3 tsa.py >port & server=$!
read -r port_number <port
sign countersigned.dll pe64.dll chain.pem -ac tsa.pem -ts "http://127.0.0.1:$port_number/"
note countersigned.dll leaf.pem "$company" "Example Root"

# Certificates that carry the outer element over 65535 bytes: its length takes three bytes.
for number in 1 2 3 4; do
  request "large$number" utf8only "Large $number"
  for extension in $(seq 40); do
    printf '1.3.6.1.4.1.99999.%d=ASN1:UTF8String:%s\n' "$extension" "$(printf 'x%.0s' $(seq 400))"
  done >extensions
  sed -i '/^\[v3\]/r extensions' "large$number.cnf"
  openssl req -x509 -new -key key.pem -utf8 -config "large$number.cnf" -days 3000 -out "large$number.pem" 2>/dev/null
done
cat large?.pem >large.pem
sign large.dll pe64.dll chain.pem -ac large.pem

# SignedData that no signing tool writes into a file: two signers; no signer; a CRL.
echo content >content
openssl cms -sign -binary -nodetach -signer leaf.pem -inkey key.pem -signer stranger.pem -inkey key.pem -in content \
  -outform DER -out "$out/two_signers.p7"
openssl crl2pkcs7 -nocrl -certfile leaf.pem -outform DER -out "$out/one_certificate.p7"
cat leaf.pem tsa.pem root.pem >three.pem
openssl crl2pkcs7 -nocrl -certfile three.pem -outform DER -out "$out/three_certificates.p7"
touch index.txt
printf '[ca]\ndefault_ca=d\n[d]\ndatabase=index.txt\ndefault_md=sha256\ndefault_crl_days=30\n' >ca.cnf
openssl ca -gencrl -config ca.cnf -cert root.pem -keyfile root.key -out crl.pem 2>/dev/null
openssl crl2pkcs7 -in crl.pem -certfile leaf.pem -outform DER -out "$out/with_crl.p7"
note leaf leaf.pem "$company" "Example Root"
note stranger stranger.pem "Somebody else" "Somebody else"
