#!/usr/bin/python3
"""Verifies a document with two signed parts: verify.py DOCUMENT AUTHORITY.pem

Prints who signed and exits with 0, or says why not and exits with 1; with 2 when a file cannot be read. Needs python3-lxml,
python3-xmlsec and python3-cryptography. Read the document's data from what verified() returns, and from nowhere else.
"""

import io
import sys

import xmlsec
from cryptography import x509
from lxml import etree

DSIG = "{http://www.w3.org/2000/09/xmldsig#}"
FILTER = "{http://www.w3.org/2002/06/xmldsig-filter2}XPath"
PARTS = ("CounterpartData", "RenderedData")
C14N = "http://www.w3.org/TR/2001/REC-xml-c14n-20010315"
TRANSFORMS = ["http://www.w3.org/2002/06/xmldsig-filter2", "http://www.w3.org/2000/09/xmldsig#enveloped-signature",
              C14N + "#WithComments"]
METHODS = {"http://www.w3.org/2001/04/xmldsig-more#rsa-sha256": "http://www.w3.org/2001/04/xmlenc#sha256",
           "http://www.w3.org/2001/04/xmldsig-more#rsa-sha512": "http://www.w3.org/2001/04/xmlenc#sha512"}


class Refused(Exception):
    pass


def require(condition, reason):
    if not condition:
        raise Refused(reason)


def only(elements, what):
    elements = list(elements)
    require(len(elements) == 1, f"{len(elements)} times {what}")
    return elements[0]


def require_form(signature, part):
    """That the signature covers its part whole, by algorithms that are good enough."""
    info = only(signature.iterchildren(DSIG + "SignedInfo"), "SignedInfo")
    reference = only(info.iterchildren(DSIG + "Reference"), "Reference")
    transforms = only(reference.iterchildren(DSIG + "Transforms"), "Transforms")
    require(reference.get("URI") == "", "a reference to something else")
    require([child.get("Algorithm") for child in transforms] == TRANSFORMS, "other transforms")
    path = only(transforms[0], "XPath")
    require(path.tag == FILTER and path.get("Filter") == "intersect" and len(path) == 0
            and path.text == "//" + part.tag, "another part is signed")
    method = info.find(DSIG + "SignatureMethod").get("Algorithm")
    require(METHODS.get(method) == reference.find(DSIG + "DigestMethod").get("Algorithm"), "other algorithms")


def certificate_of(signature):
    text = only(signature.iterfind(f"{DSIG}KeyInfo/{DSIG}X509Data/{DSIG}X509Certificate"), "X509Certificate").text
    return x509.load_pem_x509_certificate(
        f"-----BEGIN CERTIFICATE-----\n{text.strip()}\n-----END CERTIFICATE-----\n".encode())


def verified(document, authority):
    """The signer's certificate and the two elements that it signed. Raises Refused."""
    parser = etree.XMLParser(resolve_entities=False, no_network=True, load_dtd=False)
    try:
        tree = etree.parse(document, parser)
    except etree.XMLSyntaxError as error:
        raise Refused(f"no XML: {error}") from error
    require(tree.docinfo.internalDTD is None and tree.docinfo.externalDTD is None, "a document type")

    manager = xmlsec.KeysManager()
    manager.load_cert(authority, xmlsec.constants.KeyDataFormatPem, xmlsec.constants.KeyDataTypeTrusted)
    parts, certificates = [], []
    for name in PARTS:
        part = only(tree.iter("{*}" + name), name)
        require(part.tag == name, f"{name} in a namespace")
        signature = only(part.iterchildren(DSIG + "Signature"), f"Signature in {name}")
        require_form(signature, part)
        context = xmlsec.SignatureContext(manager)
        # Without this the key may come from KeyValue, which proves nothing.
        context.set_enabled_key_data([xmlsec.constants.KeyDataX509])
        try:
            context.verify(signature)
        except xmlsec.Error as error:
            raise Refused(f"{name} was altered, or its signer is not trusted") from error
        parts.append(part)
        certificates.append(certificate_of(signature))
    require(certificates[0] == certificates[1], "two signers")
    usage = certificates[0].extensions.get_extension_for_class(x509.KeyUsage).value
    require(usage.digital_signature, "the certificate is not for signing")
    return certificates[0], parts


def main(files):
    try:
        if len(files) != 2:
            raise ValueError("usage: verify.py DOCUMENT AUTHORITY.pem")
        contents = [open(name, "rb").read() for name in files]
        x509.load_pem_x509_certificate(contents[1])
    except (OSError, ValueError) as error:
        return 2, str(error)
    try:
        return 0, verified(io.BytesIO(contents[0]), files[1])[0].subject.rfc4514_string()
    except Exception as error:  # a Refused, or what libraries raise at a document that is none of the host's
        return 1, f"refused: {error}"


if __name__ == "__main__":
    status, text = main(sys.argv[1:])
    print(" ".join("".join(c if c.isprintable() else " " for c in text).split()), file=sys.stderr if status else sys.stdout)
    sys.exit(status)
