#include "capi/general_name_text.h"

#include <cstdint>
#include <cstdio>
#include <vector>

#include "outside/asn1/pkix.h"
#include "outside/asn1rt/asn1_seqof.h"
#include "outside/ztasn1/object_identifier.h"

namespace Zanthorel {
namespace CApi {
namespace {

std::string hexOf(const std::uint8_t* data, std::size_t length) {
  static const char kDigits[] = "0123456789ABCDEF";
  std::string text;
  for (std::size_t i = 0; i < length; ++i) {
    text += kDigits[data[i] >> 4];
    text += kDigits[data[i] & 0x0F];
  }
  return text;
}

// The attribute types RFC 4514 names, and others as OpenSSL names them in RFC 2253 text.
std::string attributeType(const ASN1OBJID& type) {
  static const char* const kNames[][2] = {{"2.5.4.3", "CN"},
                                          {"2.5.4.7", "L"},
                                          {"2.5.4.8", "ST"},
                                          {"2.5.4.10", "O"},
                                          {"2.5.4.11", "OU"},
                                          {"2.5.4.6", "C"},
                                          {"2.5.4.9", "STREET"},
                                          {"0.9.2342.19200300.100.1.25", "DC"},
                                          {"0.9.2342.19200300.100.1.1", "UID"},
                                          {"2.5.4.4", "SN"},
                                          {"2.5.4.5", "serialNumber"},
                                          {"2.5.4.12", "title"},
                                          {"2.5.4.13", "description"},
                                          {"2.5.4.42", "GN"},
                                          {"2.5.4.97", "organizationIdentifier"},
                                          {"1.2.840.113549.1.9.1", "emailAddress"}};
  for (const auto& entry : kNames)
    if (ASN1::oidEquals(type, entry[0])) return entry[1];
  std::string dotted;
  ASN1::oid2str(dotted, &type);
  return dotted;
}

void appendUtf8(std::string& text, std::uint32_t c) {
  if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) c = 0xFFFD;
  if (c < 0x80) {
    text += static_cast<char>(c);
  } else if (c < 0x800) {
    text += static_cast<char>(0xC0 | (c >> 6));
    text += static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    text += static_cast<char>(0xE0 | (c >> 12));
    text += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    text += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    text += static_cast<char>(0xF0 | (c >> 18));
    text += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    text += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    text += static_cast<char>(0x80 | (c & 0x3F));
  }
}

// The characters of a string value as UTF-8; false for a value of no string type.
bool stringValue(const ASN1OpenType& value, std::string& text) {
  ASN1CTXT context;
  BER::BerReader reader(value.data, value.numocts, &context);
  ASN1TAG tag = 0;
  ASN1DynOctStr octets{};
  if (!reader.peekTag(tag)) return false;
  tag = asn1Primitive(tag);
  switch (tag) {
    case kTagUTF8String:
    case kTagPrintableString:
    case kTagIA5String:
    case kTagNumericString:
    case kTagVisibleString:
    case kTagTeletexString:
    case kTagBMPString:
    case kTagUniversalString:
      break;
    default:
      return false;
  }
  if (!reader.readOctetString(octets, tag) || !reader.empty()) return false;
  const std::uint8_t* p = octets.data;
  const std::size_t n = octets.numocts;
  if (tag == kTagBMPString || tag == kTagUniversalString) {
    const std::size_t width = tag == kTagBMPString ? 2 : 4;
    if (n % width != 0) return false;
    for (std::size_t i = 0; i < n; i += width) {
      std::uint32_t c = 0;
      for (std::size_t k = 0; k < width; ++k)
        c = (c << 8) | p[i + k];
      // A UTF-16 surrogate pair in a BMPString, as some writers put there.
      if (width == 2 && c >= 0xD800 && c <= 0xDBFF && i + 3 < n) {
        const std::uint32_t low = (std::uint32_t(p[i + 2]) << 8) | p[i + 3];
        if (low >= 0xDC00 && low <= 0xDFFF) {
          c = 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
          i += 2;
        }
      }
      appendUtf8(text, c);
    }
  } else if (tag == kTagTeletexString) {
    for (std::size_t i = 0; i < n; ++i)
      appendUtf8(text, p[i]);  // read as Latin-1, as most writers mean it
  } else {
    text.assign(reinterpret_cast<const char*>(p), n);
  }
  return true;
}

// RFC 4514 2.4: the characters that need a backslash, where they need it.
std::string escaped(const std::string& value) {
  std::string text;
  for (std::size_t i = 0; i < value.size(); ++i) {
    const char c = value[i];
    if (c == '\0') {
      text += "\\00";
      continue;
    }
    const bool special = c == '"' || c == '+' || c == ',' || c == ';' || c == '<' || c == '>' ||
                         c == '\\' || (i == 0 && (c == '#' || c == ' ')) ||
                         (i + 1 == value.size() && c == ' ');
    if (special) text += '\\';
    text += c;
  }
  return text;
}

std::string ipAddressText(const CBlob& address) {
  const std::uint8_t* p = address.pbData();
  char part[8];
  std::string text;
  if (address.cbData() == 4) {
    for (int i = 0; i < 4; ++i) {
      std::snprintf(part, sizeof part, i == 0 ? "%u" : ".%u", p[i]);
      text += part;
    }
  } else if (address.cbData() == 16) {
    for (int i = 0; i < 16; i += 2) {
      std::snprintf(part, sizeof part, i == 0 ? "%x" : ":%x", (p[i] << 8) | p[i + 1]);
      text += part;
    }
  } else {
    text = "#" + hexOf(p, address.cbData());
  }
  return text;
}

}  // namespace

std::string nameText(const CBlob& name) {
  ASN1BERDecodeBuffer in(name.pbData(), name.cbData());
  ASN1T_Name decoded;
  if (ASN1C_Name(in, decoded).Decode() != 0) return "#" + hexOf(name.pbData(), name.cbData());
  std::vector<std::string> rdns;
  for (const ASN1TSeqOfList* rdn : rtSeqOfItems<ASN1TSeqOfList>(decoded.rdnSequence)) {
    std::string text;
    for (const auto* pair : rtSeqOfItems<ASN1T_AttributeTypeAndValue>(*rdn)) {
      std::string value;
      text +=
          (text.empty() ? "" : "+") + attributeType(pair->type) + "=" +
          (stringValue(pair->value, value) ? escaped(value)
                                           : "#" + hexOf(pair->value.data, pair->value.numocts));
    }
    rdns.push_back(text);
  }
  std::string text;
  for (auto rdn = rdns.rbegin(); rdn != rdns.rend(); ++rdn)
    text += (text.empty() ? "" : ",") + *rdn;
  return text;
}

std::string generalNameText(const ASN1::CGeneralName& name) {
  using ASN1::CGeneralName;
  const CBlob& value = name.get_value();
  const std::string hex = "#" + hexOf(value.pbData(), value.cbData());
  switch (name.get_type()) {
    case CGeneralName::directoryName:
      return nameText(value);
    case CGeneralName::dNSName:
      return std::string("DNS:") + name.get_text();
    case CGeneralName::uniformResourceIdentifier:
      return std::string("URI:") + name.get_text();
    case CGeneralName::rfc822Name:
      return std::string("email:") + name.get_text();
    case CGeneralName::registeredID:
      return std::string("RID:") + name.get_text();
    case CGeneralName::iPAddress:
      return "IP:" + ipAddressText(value);
    case CGeneralName::otherName:
      return std::string("othername:") + name.get_text() + ":" + hex;
    case CGeneralName::x400Address:
      return "X400:" + hex;
    case CGeneralName::ediPartyName:
      return "EdiPartyName:" + hex;
    default:
      return hex;
  }
}

}  // namespace CApi
}  // namespace Zanthorel
