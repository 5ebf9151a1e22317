// Verifies a document with two signed parts: Verify.exe DOCUMENT AUTHORITY.pem
//
// Prints who signed and exits with 0, or says why not and exits with 1; with 2 when a file cannot be read. Needs System.Security
// (the package System.Security.Cryptography.Xml on .NET). SignedXml knows no XPath Filter 2.0, so the digests are computed here,
// with the canonical form of the library. Read the document's data from what Verified() returns, and from nowhere else.

using System;
using System.Collections.Generic;
using System.IO;
using System.Linq;
using System.Security.Cryptography;
using System.Security.Cryptography.X509Certificates;
using System.Security.Cryptography.Xml;
using System.Xml;

public class Refused : Exception {
  public Refused(string reason) : base(reason) {}
}

public static class Verify {
  const string Dsig = "http://www.w3.org/2000/09/xmldsig#";
  const string Filter = "http://www.w3.org/2002/06/xmldsig-filter2";
  const string C14n = "http://www.w3.org/TR/2001/REC-xml-c14n-20010315#WithComments";
  const int DeepestElement = 1100;  // more than the host signs
  static readonly string[] Transforms = { Filter, Dsig + "enveloped-signature", C14n };

  static void Require(bool condition, string reason) {
    if (!condition) throw new Refused(reason);
  }

  static XmlElement OnlyChild(XmlElement parent, string ns, string name) {
    var found = parent.ChildNodes.OfType<XmlElement>().Where(e => e.LocalName == name && e.NamespaceURI == ns).ToList();
    Require(found.Count == 1, found.Count + " times " + name);
    return found[0];
  }

  static XmlElement Part(XmlDocument document, string name) {
    var found = document.GetElementsByTagName(name, "*");
    Require(found.Count == 1 && found[0].NamespaceURI == "", "not exactly one " + name);
    return (XmlElement)found[0];
  }

  static byte[] BytesIn(XmlElement element) {
    try {
      return Convert.FromBase64String(element.InnerText);
    } catch (FormatException) {
      throw new Refused("no base64 in " + element.Name);
    }
  }

  /** The canonical bytes of an element, less its Signature: as a document that has in scope what the element has. */
  static byte[] Canonical(XmlElement element, Transform transform) {
    var alone = new XmlDocument { PreserveWhitespace = true, XmlResolver = null };
    var copy = (XmlElement)alone.AppendChild(alone.ImportNode(element, true));
    foreach (var scope in element.CreateNavigator().GetNamespacesInScope(XmlNamespaceScope.ExcludeXml)) {
      var name = scope.Key == "" ? "xmlns" : "xmlns:" + scope.Key;
      if (scope.Value != "" && !copy.HasAttribute(name)) copy.SetAttribute(name, scope.Value);
    }
    for (var above = element.ParentNode as XmlElement; above != null; above = above.ParentNode as XmlElement)
      foreach (var inherited in above.Attributes.Cast<XmlAttribute>().Where(a => a.Prefix == "xml" && !copy.HasAttribute(a.Name)))
        copy.SetAttributeNode((XmlAttribute)alone.ImportNode(inherited, true));
    foreach (var signature in copy.ChildNodes.OfType<XmlElement>().Where(e => e.LocalName == "Signature" && e.NamespaceURI == Dsig).ToList())
      copy.RemoveChild(signature);
    transform.LoadInput(alone);
    using (var bytes = new MemoryStream()) {
      ((Stream)transform.GetOutput(typeof(Stream))).CopyTo(bytes);
      return bytes.ToArray();
    }
  }

  /** That the signature covers its part whole; gives the hash that digests and signs it. */
  static HashAlgorithmName HashOf(XmlElement info, XmlElement reference, string part) {
    var transforms = OnlyChild(reference, Dsig, "Transforms").ChildNodes.OfType<XmlElement>().ToList();
    Require(transforms.Select(t => t.GetAttribute("Algorithm")).SequenceEqual(Transforms), "other transforms");
    Require(OnlyChild(info, Dsig, "CanonicalizationMethod").GetAttribute("Algorithm") == C14n, "another canonical form");
    Require(reference.HasAttribute("URI") && reference.GetAttribute("URI") == "", "a reference to something else");
    var path = OnlyChild(transforms[0], Filter, "XPath");
    Require(path.GetAttribute("Filter") == "intersect" && path.InnerText == "//" + part, "another part is signed");
    var method = OnlyChild(info, Dsig, "SignatureMethod").GetAttribute("Algorithm");
    var digest = OnlyChild(reference, Dsig, "DigestMethod").GetAttribute("Algorithm");
    foreach (var hash in new[] { HashAlgorithmName.SHA256, HashAlgorithmName.SHA512 }) {
      var name = hash.Name.ToLowerInvariant();
      if (method == "http://www.w3.org/2001/04/xmldsig-more#rsa-" + name && digest == "http://www.w3.org/2001/04/xmlenc#" + name) return hash;
    }
    throw new Refused("other algorithms");
  }

  static X509Certificate2 VerifiedSigner(XmlElement part) {
    var signature = OnlyChild(part, Dsig, "Signature");
    var info = OnlyChild(signature, Dsig, "SignedInfo");
    var reference = OnlyChild(info, Dsig, "Reference");
    var hash = HashOf(info, reference, part.LocalName);
    using (var digest = HashAlgorithm.Create(hash.Name)) {
      var computed = digest.ComputeHash(Canonical(part, new XmlDsigC14NTransform()));
      Require(computed.SequenceEqual(BytesIn(OnlyChild(reference, Dsig, "DigestValue"))), part.LocalName + " was altered");
    }
    var data = OnlyChild(OnlyChild(signature, Dsig, "KeyInfo"), Dsig, "X509Data");
    var certificate = new X509Certificate2(BytesIn(OnlyChild(data, Dsig, "X509Certificate")));
    using (var key = certificate.GetRSAPublicKey()) {
      var value = BytesIn(OnlyChild(signature, Dsig, "SignatureValue"));
      var signed = Canonical(info, new XmlDsigC14NWithCommentsTransform());
      Require(key != null && key.VerifyData(signed, value, hash, RSASignaturePadding.Pkcs1), part.LocalName + ": the signature was altered");
    }
    return certificate;
  }

  /** The chain has to end in the one authority that is given, whatever else the system trusts. */
  static void RequireTrust(X509Certificate2 signer, X509Certificate2 authority) {
    var chain = new X509Chain();
    chain.ChainPolicy.ExtraStore.Add(authority);
    chain.ChainPolicy.RevocationMode = X509RevocationMode.NoCheck;  // Online where the authority answers for revocation
    chain.ChainPolicy.VerificationFlags = X509VerificationFlags.AllowUnknownCertificateAuthority;
    Require(chain.Build(signer), "the certificate is not valid");
    var root = chain.ChainElements[chain.ChainElements.Count - 1].Certificate;
    Require(root.RawData.SequenceEqual(authority.RawData), "the signer is not trusted");
    var usage = signer.Extensions.OfType<X509KeyUsageExtension>().FirstOrDefault();
    Require(usage != null && usage.KeyUsages.HasFlag(X509KeyUsageFlags.DigitalSignature), "the certificate is not for signing");
  }

  /** The signer's certificate, and in `parts` the two elements that it signed. */
  public static X509Certificate2 Verified(byte[] xml, X509Certificate2 authority, out List<XmlElement> parts) {
    var document = new XmlDocument { PreserveWhitespace = true, XmlResolver = null };
    var strict = new XmlReaderSettings { DtdProcessing = DtdProcessing.Prohibit, XmlResolver = null };
    try {
      // The library goes down into elements by recursion, and a stack that is full ends the program.
      using (var reader = XmlReader.Create(new MemoryStream(xml), strict))
        while (reader.Read()) Require(reader.Depth < DeepestElement, "elements are nested too deeply");
      using (var reader = XmlReader.Create(new MemoryStream(xml), strict)) document.Load(reader);
    } catch (XmlException error) {
      throw new Refused("no XML without a document type: " + error.Message);
    }
    parts = new List<XmlElement> { Part(document, "CounterpartData"), Part(document, "RenderedData") };
    var signers = parts.Select(VerifiedSigner).ToList();
    Require(signers[0].RawData.SequenceEqual(signers[1].RawData), "two signers");
    RequireTrust(signers[0], authority);
    return signers[0];
  }

  static int Leave(int status, string text) {
    (status == 0 ? Console.Out : Console.Error).WriteLine(string.Concat(text.Select(c => char.IsControl(c) ? ' ' : c)));
    return status;
  }

  public static int Main(string[] arguments) {
    if (arguments.Length != 2) return Leave(2, "usage: Verify.exe DOCUMENT AUTHORITY.pem");
    byte[] xml;
    X509Certificate2 authority;
    try {
      xml = File.ReadAllBytes(arguments[0]);
      authority = new X509Certificate2(File.ReadAllBytes(arguments[1]));
      if (authority.Subject == "") throw new CryptographicException("no certificate: " + arguments[1]);
    } catch (Exception error) {
      return Leave(2, error.Message);
    }
    try {
      List<XmlElement> parts;
      return Leave(0, Verified(xml, authority, out parts).Subject);
    } catch (Exception error) {  // a Refused, or what the library throws at a document that is none of the host's
      return Leave(1, "refused: " + error.Message);
    }
  }
}
