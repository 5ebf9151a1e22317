"""Documents to sign, of a given size and shape, with and without Signature templates in place."""

import base64

PARTS = ("CounterpartData", "RenderedData")

TEMPLATE = (
    '<Signature xmlns="http://www.w3.org/2000/09/xmldsig#"><SignedInfo>'
    '<CanonicalizationMethod Algorithm="http://www.w3.org/TR/2001/REC-xml-c14n-20010315#WithComments"/>'
    '<SignatureMethod Algorithm="http://www.w3.org/2001/04/xmldsig-more#rsa-sha256"/><Reference URI=""><Transforms>'
    '<Transform Algorithm="http://www.w3.org/2002/06/xmldsig-filter2">'
    '<XPath xmlns="http://www.w3.org/2002/06/xmldsig-filter2" Filter="intersect">//{part}</XPath></Transform>'
    '<Transform Algorithm="http://www.w3.org/2000/09/xmldsig#enveloped-signature"/>'
    '<Transform Algorithm="http://www.w3.org/TR/2001/REC-xml-c14n-20010315#WithComments"/></Transforms>'
    '<DigestMethod Algorithm="http://www.w3.org/2001/04/xmlenc#sha256"/><DigestValue/></Reference></SignedInfo>'
    '<SignatureValue/><KeyInfo><KeyValue/><X509Data><X509Certificate/></X509Data></KeyInfo></Signature>')


def item(number):
    return (f'    <Item number="{number}" class="excavator">\n'
            f'      <Description>Tracked excavator no. {number}, 5.5 t, with three buckets &amp; a breaker</Description>\n'
            f'      <Plate state="QLD">WX-{number % 1000:03}</Plate>\n'
            f'      <DailyRate currency="AUD">{number % 900 + 85}.00</DailyRate>\n'
            '    </Item>\n')


def paragraph(number):
    return (f'    <Paragraph number="{number}">The Hirer pays for plate WX-{number % 1000:03} in advance, tax included, and'
            f' bears the cost of fuel &lt; {number} — whatever was agreed by word of mouth.</Paragraph>\n')


def numbered(make, size):
    parts, length = [], 0
    while length < size:
        parts.append(make(len(parts) + 1))
        length += len(parts[-1].encode())
    return "".join(parts)


def make_document(size, shape="records"):
    """Some `size` bytes of XML: "records" are small elements with attributes, "text" is one long text in base64."""
    room = max(size - 250, 0)
    if shape == "text":
        page = "    <Page>" + base64.b64encode(bytes(i * 7 % 251 for i in range(room * 3 // 4))).decode() + "</Page>\n"
        items = item(1)
    else:
        page = numbered(paragraph, room // 2)
        items = numbered(item, room // 2)
    return ('<?xml version="1.0" encoding="UTF-8"?>\n<AgreementDocument version="2.1">\n  <CounterpartData>\n'
            + items + '  </CounterpartData>\n  <RenderedData format="text/plain">\n' + page
            + '  </RenderedData>\n</AgreementDocument>\n').encode()


def with_templates(document):
    for part in PARTS:
        end = f"</{part}>".encode()
        document = document.replace(end, TEMPLATE.format(part=part).encode() + end)
    return document
