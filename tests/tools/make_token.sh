#!/usr/bin/env bash
# A SoftHSM2 token for the tool tests, in DIR and nowhere else: DIR/softhsm2.conf (for
# SOFTHSM2_CONF) keeps its files in DIR/tokens. The token "zttsp" (user PIN 1234) holds an RSA-2048
# key "rsa" (id 01) and a P-256 key "ec" (id 02), both generated inside it; DIR/rsa.pem and
# DIR/ec.pem certify them (critical extendedKeyUsage timeStamping), issued by DIR/ca.pem.
# Usage: make_token.sh DIR
set -euo pipefail
cd "$1"
module=/usr/lib/softhsm/libsofthsm2.so
mkdir -p tokens
printf 'directories.tokendir = %s/tokens\nobjectstore.backend = file\nlog.level = ERROR\n' \
  "$PWD" >softhsm2.conf
export SOFTHSM2_CONF="$PWD/softhsm2.conf"
softhsm2-util --init-token --free --label zttsp --pin 1234 --so-pin 5678 >/dev/null
tool() { pkcs11-tool --module "$module" --token-label zttsp --login --pin 1234 "$@" >/dev/null; }
tool --keypairgen --key-type rsa:2048 --label rsa --id 01
tool --keypairgen --key-type EC:prime256v1 --label ec --id 02

openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 30 \
  -subj '/CN=Token CA' -keyout ca.key -out ca.pem 2>/dev/null
printf 'extendedKeyUsage = critical,timeStamping\nkeyUsage = critical,digitalSignature\n' >tsa.ext
# The request is signed by a stand-in key; the certificate carries the token's public key.
openssl req -new -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -keyout stand-in.key \
  -subj '/CN=Token TSA' -out tsa.csr 2>/dev/null
for key in rsa ec; do
  tool --read-object --type pubkey --label "$key" --output-file "$key.pub.der"
  openssl pkey -pubin -inform DER -in "$key.pub.der" -out "$key.pub.pem"
  openssl x509 -req -in tsa.csr -CA ca.pem -CAkey ca.key -CAcreateserial -days 30 \
    -extfile tsa.ext -force_pubkey "$key.pub.pem" -subj "/CN=Token $key TSA" -out "$key.pem" \
    2>/dev/null
done
