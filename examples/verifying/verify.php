#!/usr/bin/env php
<?php
/**
 * Verifies a document with two signed parts: verify.php DOCUMENT AUTHORITY.pem
 *
 * Prints who signed and exits with 0, or says why not and exits with 1; with 2 when a file cannot be read. Needs the extensions
 * dom and openssl. PHP knows no XPath Filter 2.0, so the digests are computed here. Read the document's data from the elements
 * that verified() returns, and from nowhere else.
 */

const DSIG = 'http://www.w3.org/2000/09/xmldsig#';
const FILTER = 'http://www.w3.org/2002/06/xmldsig-filter2';
const C14N = 'http://www.w3.org/TR/2001/REC-xml-c14n-20010315#WithComments';
const METHODS = [
    'http://www.w3.org/2001/04/xmldsig-more#rsa-sha256' => ['http://www.w3.org/2001/04/xmlenc#sha256', 'sha256'],
    'http://www.w3.org/2001/04/xmldsig-more#rsa-sha512' => ['http://www.w3.org/2001/04/xmlenc#sha512', 'sha512'],
];

class Refused extends Exception
{
}

function required(bool $condition, string $reason): void
{
    if (!$condition) {
        throw new Refused($reason);
    }
}

/** @return DOMElement[] */
function childrenOf(DOMElement $parent): array
{
    return array_values(array_filter(iterator_to_array($parent->childNodes), fn ($node) => $node instanceof DOMElement));
}

function onlyChild(DOMElement $parent, string $namespace, string $name): DOMElement
{
    $found = array_values(array_filter(
        childrenOf($parent),
        fn ($child) => $child->localName === $name && $child->namespaceURI === $namespace
    ));
    required(count($found) === 1, count($found) . " times $name");
    return $found[0];
}

function part(DOMDocument $document, string $name): DOMElement
{
    $found = $document->getElementsByTagNameNS('*', $name);
    required($found->length === 1 && !$found->item(0)->namespaceURI, "not exactly one $name");
    return $found->item(0);
}

/** That the signature covers its part whole; gives what digests and signs it. */
function algorithmOf(DOMElement $info, DOMElement $reference, string $part): string
{
    $transforms = childrenOf(onlyChild($reference, DSIG, 'Transforms'));
    $names = array_map(fn ($transform) => $transform->getAttribute('Algorithm'), $transforms);
    required($names === [FILTER, DSIG . 'enveloped-signature', C14N], 'other transforms');
    required(onlyChild($info, DSIG, 'CanonicalizationMethod')->getAttribute('Algorithm') === C14N, 'another canonical form');
    required($reference->hasAttribute('URI') && $reference->getAttribute('URI') === '', 'a reference to something else');
    $path = onlyChild($transforms[0], FILTER, 'XPath');
    required($path->getAttribute('Filter') === 'intersect' && $path->textContent === "//$part", 'another part is signed');
    [$digest, $hash] = METHODS[onlyChild($info, DSIG, 'SignatureMethod')->getAttribute('Algorithm')] ?? ['', ''];
    required(onlyChild($reference, DSIG, 'DigestMethod')->getAttribute('Algorithm') === $digest, 'other algorithms');
    return $hash;
}

function bytes(DOMElement $element): string
{
    $decoded = base64_decode(preg_replace('/\s+/', '', $element->textContent), true);
    required($decoded !== false, "no base64 in $element->nodeName");
    return $decoded;
}

/**
 * The canonical bytes of the part without its signature. Out of a tree of their own: C14N of a part is slow in a large tree, and
 * whatever puts a part into another tree (importNode(), clone, setAttributeNS()) moves declarations; text does not.
 */
function canonicalPart(DOMElement $part): string
{
    // What is in scope from above belongs to the canonical form.
    $inherited = '';
    $above = new DOMXPath($part->ownerDocument);
    foreach ($above->query('../namespace::*[name() != "xml"] | ancestor::*/@xml:*', $part) as $node) {
        $isNearest = $node instanceof DOMNameSpaceNode
            || $above->query("ancestor::*[@$node->nodeName][1]", $part)->item(0)->isSameNode($node->parentNode);
        if ($isNearest && !$part->hasAttribute($node->nodeName)) {
            $inherited .= " $node->nodeName=\"" . htmlspecialchars($node->nodeValue, ENT_XML1 | ENT_COMPAT) . '"';
        }
    }
    $text = $part->ownerDocument->saveXML($part);
    $alone = new DOMDocument();
    $read = $alone->loadXML("<$part->nodeName$inherited" . substr($text, strlen($part->nodeName) + 1), LIBXML_NONET);
    required($read, 'a part that cannot be read by itself');
    $alone->documentElement->removeChild(onlyChild($alone->documentElement, DSIG, 'Signature'));
    return $alone->C14N(false, false);
}

/** The certificate, as PEM, that made the signature of the part. */
function verifiedSigner(DOMElement $part): string
{
    $signature = onlyChild($part, DSIG, 'Signature');
    $info = onlyChild($signature, DSIG, 'SignedInfo');
    $reference = onlyChild($info, DSIG, 'Reference');
    $hash = algorithmOf($info, $reference, $part->localName);
    $digest = hash($hash, canonicalPart($part), true);
    required(hash_equals($digest, bytes(onlyChild($reference, DSIG, 'DigestValue'))), "$part->localName was altered");

    $data = onlyChild(onlyChild($signature, DSIG, 'KeyInfo'), DSIG, 'X509Data');
    $certificate = "-----BEGIN CERTIFICATE-----\n"
        . chunk_split(base64_encode(bytes(onlyChild($data, DSIG, 'X509Certificate'))), 64, "\n")
        . "-----END CERTIFICATE-----\n";
    $key = openssl_pkey_get_public($certificate);
    required($key !== false, 'no certificate');
    $value = bytes(onlyChild($signature, DSIG, 'SignatureValue'));
    required(openssl_verify($info->C14N(false, true), $value, $key, $hash) === 1, "$part->localName: the signature was altered");
    return $certificate;
}

/** @return array{string, DOMElement, DOMElement} the certificate as PEM, and the two elements that it signed */
function verified(string $xml, string $authority): array
{
    libxml_use_internal_errors(true);
    $document = new DOMDocument();
    required($xml !== '' && $document->loadXML($xml, LIBXML_NONET), 'no XML');
    required($document->doctype === null, 'a document type');
    $parts = [part($document, 'CounterpartData'), part($document, 'RenderedData')];
    [$signer, $other] = array_map('verifiedSigner', $parts);
    required($signer === $other, 'two signers');
    required(openssl_x509_checkpurpose($signer, X509_PURPOSE_ANY, [$authority]) === true, 'the signer is not trusted');
    $usage = openssl_x509_parse($signer)['extensions']['keyUsage'] ?? '';
    required(str_contains($usage, 'Digital Signature'), 'the certificate is not for signing');
    return [$signer, ...$parts];
}

/** Ends with a status and one line. */
function leave(int $status, string $text): void
{
    fwrite($status === 0 ? STDOUT : STDERR, preg_replace('/[\x00-\x20\x7f]+/', ' ', $text) . "\n");
    exit($status);
}

// A warning of a library is a failure like any other.
set_error_handler(fn (int $level, string $message) => throw new ErrorException($message));
try {
    count($argv) === 3 || throw new Exception('usage: verify.php DOCUMENT AUTHORITY.pem');
    $xml = file_get_contents($argv[1]);
    openssl_x509_read(file_get_contents($argv[2])) || throw new Exception("$argv[2]: no certificate");
} catch (Throwable $error) {
    leave(2, $error->getMessage());
}
try {
    leave(0, openssl_x509_parse(verified($xml, $argv[2])[0])['name']);
} catch (Throwable $error) {
    leave(1, 'refused: ' . $error->getMessage());
}
