#include <algorithm>

#include "shared/base/Base64.h"
#include "shared/xml/XmlText.h"
#include "signing/SigningFixture.h"

using namespace vorn;

namespace {

const std::string kLittle = "\xFF\xFE";
const std::string kBig = "\xFE\xFF";
const std::string kMark = "\xEF\xBB\xBF";

std::string declared(const std::string& encoding, const std::string& text = "x") {
  return "<?xml version='1.0' encoding='" + encoding + "'?><r><CounterpartData>" + text +
         "</CounterpartData><RenderedData/></r>";
}

std::string wide(const std::string& utf8, bool isBigEndian = false) {
  std::string bytes;
  for (const char16_t unit : toUtf16(utf8))
    for (const int shift : {0, 8}) bytes += static_cast<char>(unit >> (isBigEndian ? 8 - shift : shift));
  return bytes;
}

using Encoding = SigningTest;

TEST_F(Encoding, IsOneOfTheListAndAgreesWithTheBytes) {
  using namespace std::string_literals;
  const std::string bare = declared("").substr(declared("").find("<r>"));
  const auto refused = [](const std::string& name) {
    return "103 Request XML data is in an encoding that is not accepted: " + name;
  };
  const auto contradicts = [](const std::string& is, const std::string& says) {
    return "103 Request XML data is in " + is + ", but declares the encoding '" + says + "'";
  };
  const auto shown = [](const std::string& as, const std::string& says) {
    return "103 Request XML data holds characters of " + as + ", but declares the encoding '" + says + "'";
  };
  std::pair<std::string, std::string> cases[] = {
      {bare, "signed"},
      {kMark + bare, "signed"},
      {kLittle + wide(bare), "signed"},
      {kBig + wide(bare, true), "signed"},
      {wide(declared("UTF-16")), "signed"},
      {wide(declared("utf-16be"), true), "signed"},
      {kLittle + wide(declared("UTF-16LE")), "signed"},
      {kMark + declared("uTf-8", "\xC3\xA9"), "signed"},
      {declared("us-ascii"), "signed"},
      {declared("ISO-8859-16", "\xA4"), "signed"},
      {declared("WINDOWS-1252", "\x80"), "signed"},
      {declared("ISO-8859-1", "\xA0"), "signed"},
      {declared("ISO-8859-2", "\x80"), "signed"},
      // What everybody shows as something else.
      {declared("ISO-8859-1", "\x80"), shown("windows-1252", "ISO-8859-1")},
      {declared("iso-8859-9", "\x9F"), shown("windows-1254", "iso-8859-9")},
      {declared("ISO-8859-11", "\x82"), shown("windows-874", "ISO-8859-11")},
      // Not on the list, whatever the parser's library knows.
      {declared("UTF-7", "+ADw-/CounterpartData+AD4-"), refused("UTF-7")},
      {declared("UTF8"), refused("UTF8")},
      {declared("ascii"), refused("ascii")},
      {declared("latin1"), refused("latin1")},
      {declared("GBK"), refused("GBK")},
      {declared("ISO-2022-JP"), refused("ISO-2022-JP")},
      {declared("SCSU"), refused("SCSU")},
      {declared("CESU-8"), refused("CESU-8")},
      {declared("ISO-8859-12"), refused("ISO-8859-12")},
      {declared(std::string(1000, 'x')), refused(std::string(100, 'x'))},
      {"<?xml version = \"1.0\"\n\tencoding\r= \"IBM037\" ?>" + bare, refused("IBM037")},
      {kLittle + "\0\0"s + bare, refused("UTF-32")},
      {"\0\0\0<"s, refused("UTF-32")},
      {"\x4C\x6F\xA7\x94\x93", refused("EBCDIC")},
      {wide(bare), refused("UTF-16, without a byte order mark or declaration")},
      {wide(declared("").replace(19, 12, "")), refused("UTF-16, without a byte order mark or declaration")},
      // Other than the bytes.
      {kMark + declared("ISO-8859-1"), contradicts("UTF-8", "ISO-8859-1")},
      {declared("UTF-16"), contradicts("UTF-8", "UTF-16")},
      {kLittle + wide(declared("UTF-16BE")), contradicts("UTF-16", "UTF-16BE")},
      {kBig + wide(declared("utf-8"), true), contradicts("UTF-16", "utf-8")},
      {kMark + kMark + bare, "103 invalid document structure (line 1, column 1)"},
      // Bytes that are no character.
      {bare + "\xC0\x80", "103 invalid byte"},
      {declared("UTF-8", "\xE9"), "103 invalid byte"},
      {kLittle + wide(bare) + "\0\xD8"s, "103 comment or processing instruction expected"},
      {kBig + wide(bare, true) + "\xDC\0 "s, "103 Request XML data ends within a character"},
      {kLittle + wide(declared("UTF-16")).insert(160, "\0\xDC"s), "103 "},
      {declared("US-ASCII", "\xE9"), "103 Request XML data is not valid US-ASCII"},
      {declared("iso-8859-3", "\xA5"), "103 Request XML data is not valid iso-8859-3"},
      {declared("windows-1252", "\x81"), "103 Request XML data is not valid windows-1252"},
  };
  for (const auto& [xml, expected] : cases) {
    const std::string outcome = refusalOf(toBase64(xml));
    EXPECT_EQ(outcome.substr(0, expected.size()), expected) << xml << "\n" << outcome;
  }
  EXPECT_NE(signXml(declared("iso-8859-16", "\xA4\xFF")).find(">\xE2\x82\xAC\xC3\xBF<"), std::string::npos);
  EXPECT_NE(signXml(wide(declared("UTF-16BE", "\xF0\x9F\x98\x80"), true)).find(">\xF0\x9F\x98\x80<"),
            std::string::npos);
}

}  // namespace
