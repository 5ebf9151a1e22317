#include "Security/Security.h"
#include "linux/frameworks/CoreFoundation/CFObjects.h"

using vorn::frameworks::constantString;

const CFStringRef kSecClass = constantString<"class">();
const CFStringRef kSecClassIdentity = constantString<"idnt">();
const CFStringRef kSecAttrCanSign = constantString<"sign">();
const CFStringRef kSecMatchSubjectWholeString = constantString<"m_SubjectWholeString">();
const CFStringRef kSecMatchLimit = constantString<"m_Limit">();
const CFStringRef kSecMatchLimitAll = constantString<"m_LimitAll">();
const CFStringRef kSecReturnRef = constantString<"r_Ref">();

const CFStringRef kSecPropertyKeyType = constantString<"type">();
const CFStringRef kSecPropertyKeyLabel = constantString<"label">();
const CFStringRef kSecPropertyKeyValue = constantString<"value">();
const CFStringRef kSecPropertyTypeData = constantString<"data">();

const CFStringRef kSecOIDAuthorityKeyIdentifier = constantString<"2.5.29.35">();
const CFStringRef kSecOIDCommonName = constantString<"2.5.4.3">();
const CFStringRef kSecOIDKeyUsage = constantString<"2.5.29.15">();
const CFStringRef kSecOIDX509V1IssuerName = constantString<"2.16.840.1.113741.2.1.1.1.5">();
const CFStringRef kSecOIDX509V1SerialNumber = constantString<"2.16.840.1.113741.2.1.1.1.3">();
const CFStringRef kSecOIDX509V1ValidityNotAfter = constantString<"2.16.840.1.113741.2.1.1.1.7">();
const CFStringRef kSecOIDX509V1ValidityNotBefore = constantString<"2.16.840.1.113741.2.1.1.1.6">();

const CFStringRef kSecTransformInputAttributeName = constantString<"INPUT">();
const CFStringRef kSecInputIsAttributeName = constantString<"InputIs">();
const CFStringRef kSecInputIsDigest = constantString<"Digest">();
const CFStringRef kSecDigestTypeAttribute = constantString<"Digest Type">();
const CFStringRef kSecDigestLengthAttribute = constantString<"Digest Length">();
const CFStringRef kSecDigestSHA1 = constantString<"SHA1 Digest">();
const CFStringRef kSecDigestSHA2 = constantString<"SHA2 Digest Family">();
const CFStringRef kSecPaddingKey = constantString<"SecPaddingKey">();
const CFStringRef kSecPaddingPKCS1Key = constantString<"SecPaddingPKCS1Key">();
const CFStringRef kSecBase64Encoding = constantString<"base64">();
