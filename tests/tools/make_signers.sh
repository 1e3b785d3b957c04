#!/usr/bin/env bash
# Signer certificates for the tool tests, made with openssl in DIR: a CA (ca.pem) and another
# (other-ca.pem); good.pem and second.pem, time-stamping certificates from the CA; beside them one
# certificate for each way a signer can be unfit; request.tsq, a request to answer. All share the
# key signer.key (P-256, quick to make).
# Usage: make_signers.sh DIR
set -euo pipefail
cd "$1"
openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 30 -subj '/CN=Test CA' \
  -keyout ca.key -out ca.pem 2>/dev/null
openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 30 \
  -subj '/CN=Other CA' -keyout other-ca.key -out other-ca.pem 2>/dev/null
openssl req -new -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -subj '/CN=Test TSA' \
  -keyout signer.key -out signer.csr 2>/dev/null

cat >extensions.cnf <<'CNF'
[good]
extendedKeyUsage = critical,timeStamping
keyUsage = critical,digitalSignature
[no-eku]
keyUsage = critical,digitalSignature
[noncritical]
extendedKeyUsage = timeStamping
[codesigning]
extendedKeyUsage = critical,codeSigning
[two-purposes]
extendedKeyUsage = critical,timeStamping,codeSigning
[ca-certificate]
basicConstraints = critical,CA:TRUE
extendedKeyUsage = critical,timeStamping
[key-encipherment]
extendedKeyUsage = critical,timeStamping
keyUsage = critical,keyEncipherment
CNF
# openssl ca, for its -startdate and -enddate.
cat >ca.cnf <<'CNF'
[ca]
default_ca = test_ca
[test_ca]
database = index.txt
new_certs_dir = issued
serial = serial.txt
default_md = sha256
policy = anything
unique_subject = no
[anything]
commonName = supplied
CNF
: >index.txt
mkdir -p issued
echo 1000 >serial.txt
# NAME SECTION START END [SUBJECT]: NAME.pem, the signer's key certified by the CA.
issue() {
  openssl ca -batch -config ca.cnf -cert ca.pem -keyfile ca.key -in signer.csr -notext \
    -extfile extensions.cnf -extensions "$2" -startdate "$3" -enddate "$4" \
    -subj "${5:-/CN=Test TSA}" -out "$1.pem" 2>/dev/null
}
now() { date -u -d "$1" +%Y%m%d%H%M%SZ; }
for section in good no-eku noncritical codesigning two-purposes ca-certificate key-encipherment; do
  issue "$section" "$section" "$(now '-1 hour')" "$(now '+60 days')"
done
issue expired good 20200101000000Z 20210101000000Z
issue not-yet-valid good "$(now '+1 day')" "$(now '+60 days')"
issue expiring good "$(now '-1 hour')" "$(now '+10 days')"
issue second good "$(now '-1 hour')" "$(now '+60 days')" '/CN=Second TSA'
openssl ts -query -data ca.cnf -cert -out request.tsq 2>/dev/null
