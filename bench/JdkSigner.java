// The peer "JDK": signs documents one after another in one process with the JDK's XML signature API.
//
// usage: java JdkSigner KEY.pem CERTIFICATE.pem
//
// Each line of standard input is the path of a document without signatures, a tab, and the path for the signed
// document, which may be empty. One line goes out for each.

import java.io.BufferedReader;
import java.io.ByteArrayInputStream;
import java.io.ByteArrayOutputStream;
import java.io.InputStreamReader;
import java.nio.file.Files;
import java.nio.file.Path;
import java.security.KeyFactory;
import java.security.PrivateKey;
import java.security.cert.CertificateFactory;
import java.security.cert.X509Certificate;
import java.security.spec.PKCS8EncodedKeySpec;
import java.util.Base64;
import java.util.List;
import javax.xml.crypto.dsig.CanonicalizationMethod;
import javax.xml.crypto.dsig.DigestMethod;
import javax.xml.crypto.dsig.Reference;
import javax.xml.crypto.dsig.SignedInfo;
import javax.xml.crypto.dsig.Transform;
import javax.xml.crypto.dsig.XMLSignatureFactory;
import javax.xml.crypto.dsig.dom.DOMSignContext;
import javax.xml.crypto.dsig.keyinfo.KeyInfo;
import javax.xml.crypto.dsig.keyinfo.KeyInfoFactory;
import javax.xml.crypto.dsig.spec.C14NMethodParameterSpec;
import javax.xml.crypto.dsig.spec.TransformParameterSpec;
import javax.xml.crypto.dsig.spec.XPathFilter2ParameterSpec;
import javax.xml.crypto.dsig.spec.XPathType;
import javax.xml.parsers.DocumentBuilderFactory;
import javax.xml.transform.Transformer;
import javax.xml.transform.TransformerFactory;
import javax.xml.transform.dom.DOMSource;
import javax.xml.transform.stream.StreamResult;
import org.w3c.dom.Document;

public class JdkSigner {
  private static final String RSA_SHA256 = "http://www.w3.org/2001/04/xmldsig-more#rsa-sha256";

  private final PrivateKey key;
  private final X509Certificate certificate;
  private final XMLSignatureFactory factory = XMLSignatureFactory.getInstance("DOM");
  private final DocumentBuilderFactory builders = DocumentBuilderFactory.newInstance();
  private final Transformer serialiser = TransformerFactory.newInstance().newTransformer();

  JdkSigner(String keyFile, String certificateFile) throws Exception {
    String pem = Files.readString(Path.of(keyFile)).replaceAll("-----[A-Z ]*-----|\\s", "");
    key = KeyFactory.getInstance("RSA").generatePrivate(new PKCS8EncodedKeySpec(Base64.getDecoder().decode(pem)));
    certificate = (X509Certificate) CertificateFactory.getInstance("X.509")
        .generateCertificate(new ByteArrayInputStream(Files.readAllBytes(Path.of(certificateFile))));
    builders.setNamespaceAware(true);
  }

  private void sign(Document document, String elementName) throws Exception {
    XPathType filter = new XPathType("//" + elementName, XPathType.Filter.INTERSECT);
    List<Transform> transforms = List.of(
        factory.newTransform(Transform.XPATH2, new XPathFilter2ParameterSpec(List.of(filter))),
        factory.newTransform(Transform.ENVELOPED, (TransformParameterSpec) null),
        factory.newTransform(CanonicalizationMethod.INCLUSIVE_WITH_COMMENTS, (TransformParameterSpec) null));
    Reference reference =
        factory.newReference("", factory.newDigestMethod(DigestMethod.SHA256, null), transforms, null, null);
    SignedInfo signedInfo = factory.newSignedInfo(
        factory.newCanonicalizationMethod(CanonicalizationMethod.INCLUSIVE_WITH_COMMENTS, (C14NMethodParameterSpec) null),
        factory.newSignatureMethod(RSA_SHA256, null), List.of(reference));
    KeyInfoFactory keys = factory.getKeyInfoFactory();
    KeyInfo keyInfo = keys.newKeyInfo(
        List.of(keys.newKeyValue(certificate.getPublicKey()), keys.newX509Data(List.of(certificate))));
    DOMSignContext context = new DOMSignContext(key, document.getElementsByTagName(elementName).item(0));
    factory.newXMLSignature(signedInfo, keyInfo).sign(context);
  }

  private byte[] sign(byte[] text) throws Exception {
    Document document = builders.newDocumentBuilder().parse(new ByteArrayInputStream(text));
    sign(document, "CounterpartData");
    sign(document, "RenderedData");
    ByteArrayOutputStream result = new ByteArrayOutputStream(text.length + 8192);
    serialiser.transform(new DOMSource(document), new StreamResult(result));
    return result.toByteArray();
  }

  public static void main(String[] arguments) throws Exception {
    JdkSigner signer = new JdkSigner(arguments[0], arguments[1]);
    BufferedReader lines = new BufferedReader(new InputStreamReader(System.in));
    for (String line = lines.readLine(); line != null; line = lines.readLine()) {
      int tab = line.indexOf('\t');
      byte[] result = signer.sign(Files.readAllBytes(Path.of(line.substring(0, tab))));
      if (tab + 1 < line.length()) {
        Files.write(Path.of(line.substring(tab + 1)), result);
      }
      System.out.println(result.length);
    }
  }
}
