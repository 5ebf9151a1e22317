import java.io.ByteArrayInputStream;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.security.GeneralSecurityException;
import java.security.cert.CertPathValidator;
import java.security.cert.CertificateFactory;
import java.security.cert.PKIXParameters;
import java.security.cert.TrustAnchor;
import java.security.cert.X509Certificate;
import java.util.ArrayList;
import java.util.Base64;
import java.util.List;
import java.util.Map;
import java.util.Set;
import javax.xml.XMLConstants;
import javax.xml.crypto.MarshalException;
import javax.xml.crypto.dsig.XMLSignatureException;
import javax.xml.crypto.dsig.XMLSignatureFactory;
import javax.xml.crypto.dsig.dom.DOMValidateContext;
import javax.xml.parsers.DocumentBuilderFactory;
import org.w3c.dom.Document;
import org.w3c.dom.Element;
import org.w3c.dom.Node;
import org.xml.sax.helpers.DefaultHandler;

/**
 * Verifies a document with two signed parts: java Verify.java DOCUMENT AUTHORITY.pem
 *
 * <p>Prints who signed and exits with 0, or says why not and exits with 1; with 2 when a file cannot be read. Needs nothing but the
 * JDK. Read the document's data from what verified() returns, and from nowhere else.
 */
public final class Verify {
  static final String DSIG = "http://www.w3.org/2000/09/xmldsig#";
  static final String FILTER = "http://www.w3.org/2002/06/xmldsig-filter2";
  static final List<String> TRANSFORMS =
      List.of(FILTER, DSIG + "enveloped-signature", "http://www.w3.org/TR/2001/REC-xml-c14n-20010315#WithComments");
  static final Map<String, String> METHODS =
      Map.of(
          "http://www.w3.org/2001/04/xmldsig-more#rsa-sha256", "http://www.w3.org/2001/04/xmlenc#sha256",
          "http://www.w3.org/2001/04/xmldsig-more#rsa-sha512", "http://www.w3.org/2001/04/xmlenc#sha512");

  static final class Refused extends Exception {
    Refused(String reason) {
      super(reason);
    }
  }

  /** The signer's certificate, and the two elements of the tree that it signed. */
  record Verified(X509Certificate signer, Element counterpart, Element rendered) {}

  static void require(boolean condition, String reason) throws Refused {
    if (!condition) throw new Refused(reason);
  }

  static List<Element> childrenOf(Element parent) {
    List<Element> found = new ArrayList<>();
    for (Node node = parent.getFirstChild(); node != null; node = node.getNextSibling())
      if (node instanceof Element element) found.add(element);
    return found;
  }

  static Element onlyChild(Element parent, String namespace, String name) throws Refused {
    List<Element> found = new ArrayList<>();
    for (Element child : childrenOf(parent))
      if (name.equals(child.getLocalName()) && namespace.equals(child.getNamespaceURI())) found.add(child);
    require(found.size() == 1, found.size() + " times " + name);
    return found.get(0);
  }

  static Element part(Document document, String name) throws Refused {
    var found = document.getElementsByTagNameNS("*", name);
    require(found.getLength() == 1 && found.item(0).getNamespaceURI() == null, "not exactly one " + name);
    return (Element) found.item(0);
  }

  /** That the signature covers its part whole, by algorithms that are good enough. */
  static void requireForm(Element signature, String part) throws Refused {
    Element info = onlyChild(signature, DSIG, "SignedInfo");
    Element reference = onlyChild(info, DSIG, "Reference");
    require(reference.hasAttribute("URI") && reference.getAttribute("URI").isEmpty(), "a reference to something else");
    List<Element> transforms = childrenOf(onlyChild(reference, DSIG, "Transforms"));
    require(TRANSFORMS.equals(transforms.stream().map(t -> t.getAttribute("Algorithm")).toList()), "other transforms");
    Element path = onlyChild(transforms.get(0), FILTER, "XPath");
    require(path.getAttribute("Filter").equals("intersect") && path.getTextContent().equals("//" + part), "another part is signed");
    String method = onlyChild(info, DSIG, "SignatureMethod").getAttribute("Algorithm");
    String digest = onlyChild(reference, DSIG, "DigestMethod").getAttribute("Algorithm");
    require(digest.equals(METHODS.get(method)), "other algorithms");
  }

  static X509Certificate certificateOf(Element signature) throws Refused, GeneralSecurityException {
    Element data = onlyChild(onlyChild(signature, DSIG, "KeyInfo"), DSIG, "X509Data");
    return certificateIn(Base64.getMimeDecoder().decode(onlyChild(data, DSIG, "X509Certificate").getTextContent()));
  }

  static X509Certificate certificateIn(byte[] bytes) throws GeneralSecurityException {
    return (X509Certificate) CertificateFactory.getInstance("X.509").generateCertificate(new ByteArrayInputStream(bytes));
  }

  static X509Certificate verifiedSigner(Element part) throws Refused, GeneralSecurityException, MarshalException, XMLSignatureException {
    Element signature = onlyChild(part, DSIG, "Signature");
    requireForm(signature, part.getLocalName());
    X509Certificate certificate = certificateOf(signature);
    var context = new DOMValidateContext(certificate.getPublicKey(), signature);
    require(XMLSignatureFactory.getInstance("DOM").unmarshalXMLSignature(context).validate(context), part.getLocalName() + " was altered");
    return certificate;
  }

  /** What is thrown, be it Refused or an exception of the JDK, refuses the document. */
  static Verified verified(byte[] xml, X509Certificate authority) throws Exception {
    DocumentBuilderFactory factory = DocumentBuilderFactory.newInstance();
    factory.setNamespaceAware(true);
    factory.setFeature(XMLConstants.FEATURE_SECURE_PROCESSING, true);
    factory.setFeature("http://apache.org/xml/features/disallow-doctype-decl", true);
    // More than the host signs. The JDK's time grows with the square of the depth.
    factory.setAttribute("http://www.oracle.com/xml/jaxp/properties/maxElementDepth", "1100");
    var parser = factory.newDocumentBuilder();
    parser.setErrorHandler(new DefaultHandler()); // the JDK's own prints
    Document document = parser.parse(new ByteArrayInputStream(xml));
    Element counterpart = part(document, "CounterpartData");
    Element rendered = part(document, "RenderedData");
    X509Certificate signer = verifiedSigner(counterpart);
    require(signer.equals(verifiedSigner(rendered)), "two signers");
    require(signer.getKeyUsage() != null && signer.getKeyUsage()[0], "the certificate is not for signing");
    var trust = new PKIXParameters(Set.of(new TrustAnchor(authority, null)));
    trust.setRevocationEnabled(false); // turn it on where the authority answers for revocation
    var path = CertificateFactory.getInstance("X.509").generateCertPath(List.of(signer));
    CertPathValidator.getInstance("PKIX").validate(path, trust);
    return new Verified(signer, counterpart, rendered);
  }

  /** Ends with a status and one line. */
  static void leave(int status, String text) {
    (status == 0 ? System.out : System.err).println(text.replaceAll("\\p{Cntrl}+", " "));
    System.exit(status);
  }

  public static void main(String[] arguments) {
    if (arguments.length != 2) leave(2, "usage: java Verify.java DOCUMENT AUTHORITY.pem");
    byte[] xml = null;
    X509Certificate authority = null;
    try {
      xml = Files.readAllBytes(Path.of(arguments[0]));
      authority = certificateIn(Files.readAllBytes(Path.of(arguments[1])));
    } catch (IOException | GeneralSecurityException error) {
      leave(2, error.toString());
    }
    try {
      leave(0, verified(xml, authority).signer().getSubjectX500Principal().toString());
    } catch (Exception | StackOverflowError | OutOfMemoryError error) { // a Refused, or what the JDK throws at a document that is none of the host's
      leave(1, "refused: " + (error.getMessage() == null ? error : error.getMessage()));
    }
  }
}
