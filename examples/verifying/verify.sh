#!/usr/bin/env bash
# Verifies a document with two signed parts: verify.sh DOCUMENT AUTHORITY.pem
#
# Prints who signed and exits with 0, or says why not and exits with 1; with 2 when a file cannot be read. Needs xmlsec1, xmllint
# (libxml2-utils) and openssl. Read the document's data only from the two elements, and only by a parser that is told to refuse
# document types.
set -Eeuo pipefail

[[ $# == 2 ]] || { echo "usage: verify.sh DOCUMENT AUTHORITY.pem" >&2; exit 2; }
document=$(realpath -m -- "$1") authority=$(realpath -m -- "$2")
[[ -f $document && -r $document ]] || { echo "$document: no file that can be read" >&2; exit 2; }
openssl x509 -noout -in "$authority" 2> /dev/null || { echo "$authority: no certificate" >&2; exit 2; }
TRANSFORMS="http://www.w3.org/2002/06/xmldsig-filter2 http://www.w3.org/2000/09/xmldsig#enveloped-signature"
TRANSFORMS+=" http://www.w3.org/TR/2001/REC-xml-c14n-20010315#WithComments"
refuse() {
  echo "refused: $1" >&2
  exit 1
}
trap 'refuse "not the form of a signed document"' ERR
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
  transforms="$reference/*[local-name()='Transforms']/*"
  names="concat(${transforms}[1]/@Algorithm, ' ', ${transforms}[2]/@Algorithm, ' ', ${transforms}[3]/@Algorithm)"
  [[ $(xpath "$names") == "$TRANSFORMS" && $(xpath "count(${transforms}[1]/*)") == 1 ]] || refuse "other transforms"
  method=$(xpath "string($signature/*[local-name()='SignedInfo']/*[local-name()='SignatureMethod']/@Algorithm)")
  digest=$(xpath "string($reference/*[local-name()='DigestMethod']/@Algorithm)")
  case "$method $digest" in
    *'xmldsig-more#rsa-sha256 http://www.w3.org/2001/04/xmlenc#sha256') ;;
    *'xmldsig-more#rsa-sha512 http://www.w3.org/2001/04/xmlenc#sha512') ;;
    *) refuse "other algorithms" ;;
  esac
  # Without --enabled-key-data the key may come from KeyValue, which proves nothing.
  xmlsec1 --verify --trusted-pem "$authority" --enabled-key-data x509 --node-xpath "$signature" "$document" > /dev/null 2>&1 ||
    refuse "$part was altered, or its signer is not trusted"
  certificates+=("$(xpath "string($signature//*[local-name()='X509Certificate'])" | tr -d ' \t\r\n')")
done
[[ ${certificates[0]} == "${certificates[1]}" ]] || refuse "two signers"
certificate=$(base64 -d <<< "${certificates[0]}" 2> /dev/null | openssl x509 -inform DER 2> /dev/null) || refuse "no certificate"
openssl x509 -noout -ext keyUsage <<< "$certificate" 2> /dev/null | grep -q 'Digital Signature' || refuse "the certificate is not for signing"
openssl x509 -noout -subject <<< "$certificate"
