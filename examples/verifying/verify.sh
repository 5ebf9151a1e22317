#!/usr/bin/env bash
# Verifies a document with two signed parts: verify.sh DOCUMENT AUTHORITY.pem
#
# Prints who signed and exits with 0, or says why not and exits with 1. Needs xmlsec1, xmllint (libxml2-utils) and openssl.
# Read the document's data only from the two elements, and only by a parser that is told to refuse document types.
set -euo pipefail

document=$1 authority=$2
refuse() {
  echo "refused: $1" >&2
  exit 1
}
xpath() { xmllint --nonet --xpath "$1" "$document" 2> /dev/null; }

text=$(xmllint --nonet --encode UTF-8 "$document" 2> /dev/null) || refuse "no XML"
[[ $text != *'<!DOCTYPE'* ]] || refuse "a document type"
for part in CounterpartData RenderedData; do
  # shellcheck disable=SC2016
  one="//*[local-name()='$part']"
  signature="$one/*[local-name()='Signature' and namespace-uri()='http://www.w3.org/2000/09/xmldsig#']"
  reference="$signature/*[local-name()='SignedInfo']/*[local-name()='Reference']"
  filter="${reference}[@URI='']/*[local-name()='Transforms']/*/*[local-name()='XPath'][@Filter='intersect']"
  [[ $(xpath "count($one) = 1 and count(//$part) = 1 and count($signature) = 1") == true ]] || refuse "not exactly one signed $part"
  [[ $(xpath "count($reference) = 1 and count($reference/*/*) = 3 and string($filter) = '//$part'") == true ]] || refuse "another part is signed"
  [[ $(xpath "not(contains($signature//*[local-name()='SignatureMethod']/@Algorithm, 'sha1'))") == true ]] || refuse "other algorithms"
  # Without --enabled-key-data the key may come from KeyValue, which proves nothing.
  xmlsec1 --verify --trusted-pem "$authority" --enabled-key-data x509 --node-xpath "$signature" "$document" > /dev/null 2>&1 ||
    refuse "$part was altered, or its signer is not trusted"
  certificates+=("$(xpath "string($signature//*[local-name()='X509Certificate'])" | tr -d ' \t\r\n')")
done
[[ ${certificates[0]} == "${certificates[1]}" ]] || refuse "two signers"
certificate=$(base64 -d <<< "${certificates[0]}" | openssl x509 -inform DER)
openssl x509 -noout -ext keyUsage <<< "$certificate" | grep -q 'Digital Signature' || refuse "the certificate is not for signing"
openssl x509 -noout -subject <<< "$certificate"
