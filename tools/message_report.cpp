#include "tools/message_report.h"

#include "authenticode/ms_request.h"
#include "authenticode/ms_stamp.h"
#include "outside/asn1rt/ber_reader.h"
#include "outside/ztasn1/object_identifier.h"
#include "outside/ztasn1/octet_string.h"
#include "rfc3161/request.h"
#include "rfc3161/response.h"
#include "sdk/win32.h"
#include "tools/authority.h"
#include "tools/certificate.h"
#include "tools/ess.h"
#include "tools/report_values.h"
#include "tools/tool_error.h"

using Zanthorel::BER::BerReader;

namespace Zanthorel {
namespace Tools {
namespace {

using ASN1::CAttribute;
using ASN1::CAttributes;
using ASN1::CGeneralName;

std::string bigInteger(const ASN1::CBigInteger& value) {
  return value.toString().c_str();
}

void addImprint(Report& report, const ASN1::CAlgorithmIdentifier& algorithm, const CBlob& hash) {
  Report& imprint = report.addObject("messageImprint");
  imprint.add("hashAlgorithm", oidText(algorithm.get_algorithm()));
  imprint.add("hashedMessage", hexText(hash));
}

void addExtensions(Report& report, const ASN1::CExtensions* extensions) {
  if (extensions == nullptr) return;
  Report& list = report.addList("extensions");
  for (const ASN1::CExtension& extension : *extensions) {
    Report& entry = list.appendObject();
    entry.add("extnID", oidText(extension.get_extnID()));
    entry.addBoolean("critical", extension.get_critical());
    entry.add("extnValue", hexText(extension.get_extnValue()));
  }
}

std::string generalNameText(const CGeneralName& name) {
  static const char* const kTypes[] = {"",
                                       "otherName",
                                       "rfc822Name",
                                       "dNSName",
                                       "x400Address",
                                       "directoryName",
                                       "ediPartyName",
                                       "uniformResourceIdentifier",
                                       "iPAddress",
                                       "registeredID"};
  const std::string type = kTypes[name.get_type()];
  switch (name.get_type()) {
    case CGeneralName::directoryName:
      return nameText(name.get_value());
    case CGeneralName::rfc822Name:
    case CGeneralName::dNSName:
    case CGeneralName::uniformResourceIdentifier:
    case CGeneralName::registeredID:
      return type + ": " + name.get_text();
    case CGeneralName::otherName:
      return type + ": " + name.get_text() + " " + hexText(name.get_value());
    default:
      return type + ": " + hexText(name.get_value());
  }
}

// The value octets of an encoded OCTET STRING, or the bytes as they are when they are none.
std::string octetsText(const CBlob& encoded) {
  try {
    return hexText(ASN1::fromOctetString(encoded));
  } catch (const ATL::CAtlException&) {
    return hexText(encoded);
  }
}

Report certificateReport(const CBlob& der) {
  Report report;
  try {
    const Certificate certificate(der);
    report.add("subject", nameText(certificate.subjectName()));
    report.add("issuer", nameText(certificate.issuerName()));
    report.add("serialNumber", bigInteger(certificate.serialNumber()));
    report.add("notBefore", isoTime(certificate.notBefore()));
    report.add("notAfter", isoTime(certificate.notAfter()));
  } catch (const ToolError&) {
    report.add("der", hexText(der));  // an attribute certificate or the like
  }
  return report;
}

void addCertificates(Report& report, const CBlobList* certificates) {
  if (certificates == nullptr) return;
  Report& list = report.addList("certificates");
  for (const CBlob& der : *certificates)
    list.appendObject() = certificateReport(der);
}

// The ESSCertID(v2) entries of a signingCertificate(V2) value.
Report essReport(const CBlob& value, bool v2) {
  Report report;
  std::vector<EssCertId> ids;
  if (!decodeSigningCertificate(value, v2, ids)) {
    report.add("undecodable", hexText(value));
    return report;
  }
  Report& certs = report.addList("certs");
  for (const EssCertId& id : ids) {
    Report& entry = certs.appendObject();
    entry.add("hashAlgorithm", oidText(id.hashAlgorithm));
    entry.add("certHash", hexText(id.certHash));
    if (!id.hasIssuerSerial) continue;
    entry.add("issuer", id.issuer.empty() ? "(not a directoryName)" : nameText(id.issuer));
    entry.add("serialNumber", bigInteger(id.serialNumber));
  }
  return report;
}

std::string objectIdentifierValue(const CBlob& value) {
  ASN1CTXT ctxt;
  BerReader in(value.pbData(), value.cbData(), &ctxt);
  ASN1OBJID oid{};
  std::string text;
  if (in.readObjId(oid) && in.finish() && ASN1::oid2str(text, &oid)) return oidText(text);
  return hexText(value);
}

void addAttributeValue(Report& values, const std::string& type, const CBlob& value) {
  try {
    if (type == ASN1::CAttrSigningTime::kOid)
      return values.append(isoTime(ASN1::CAttrSigningTime(value).get_time()));
  } catch (const ATL::CAtlException&) {
    return values.append(hexText(value));  // no time: the bytes as they are
  }
  if (type == szOID_RSA_messageDigest) return values.append(octetsText(value));
  if (type == szOID_RSA_contentType) return values.append(objectIdentifierValue(value));
  if (type == kSigningCertificateOid || type == kSigningCertificateV2Oid)
    values.appendObject() = essReport(value, type == kSigningCertificateV2Oid);
  else
    values.append(hexText(value));
}

void addAttributes(Report& report, const std::string& key, const CAttributes* attributes) {
  if (attributes == nullptr) return;
  Report& list = report.addList(key);
  for (const CAttribute& attribute : *attributes) {
    Report& entry = list.appendObject();
    entry.add("type", oidText(attribute.get_oid()));
    Report& values = entry.addList("values");
    for (const ASN1::CAttrValue& value : attribute)
      addAttributeValue(values, attribute.get_oid(), value.get_value());
  }
}

void addSigner(Report& report, const ASN1::CSignerInfo& signer) {
  Report& entry = report.addObject("signerInfo");
  entry.addNumber("version", signer.get_version());
  if (signer.get_sidType() == ASN1::CSignerInfo::subjectKeyIdentifier) {
    entry.add("subjectKeyIdentifier", hexText(signer.get_subjectKeyIdentifier()));
  } else {
    entry.add("issuer", nameText(signer.get_issuer()));
    entry.add("serialNumber", bigInteger(signer.get_serialNumber()));
  }
  entry.add("digestAlgorithm", oidText(signer.get_digestAlgorithm().get_algorithm()));
  addAttributes(entry, "signedAttributes", signer.get_signedAttributes());
  entry.add("signatureAlgorithm", oidText(signer.get_signatureAlgorithm().get_algorithm()));
  entry.add("signature", hexText(signer.get_signature()));
  addAttributes(entry, "unsignedAttributes", signer.get_unsignedAttributes());
}

Report requestReport(const PKI::TSP::CRequest& request) {
  Report report;
  report.add("type", "RFC 3161 time-stamp request (TimeStampReq)");
  report.addNumber("version", request.get_version());
  addImprint(report, request.get_hashAlgorithm(), request.get_hashedMessage());
  if (request.get_reqPolicy() != nullptr) report.add("reqPolicy", oidText(request.get_reqPolicy()));
  if (request.get_nonce() != nullptr) report.add("nonce", bigInteger(*request.get_nonce()));
  report.addBoolean("certReq", request.get_certReq());
  addExtensions(report, request.get_extensions());
  return report;
}

Report tokenReport(const PKI::TSP::CToken& token) {
  Report report;
  report.add("type", "RFC 3161 time-stamp token (TimeStampToken)");
  report.addNumber("version", token.get_version());
  report.add("policy", oidText(token.get_policy()));
  addImprint(report, token.get_hashAlgorithm(), token.get_hashedMessage());
  report.add("serialNumber", bigInteger(token.get_serialNumber()));
  report.add("genTime", isoTime(token.get_genTime()));
  if (const PKI::TSP::CAccuracy* accuracy = token.get_accuracy()) {
    Report& entry = report.addObject("accuracy");
    entry.addNumber("seconds", accuracy->seconds);
    entry.addNumber("millis", accuracy->millis);
    entry.addNumber("micros", accuracy->micros);
  }
  report.addBoolean("ordering", token.get_ordering());
  if (token.get_nonce() != nullptr) report.add("nonce", bigInteger(*token.get_nonce()));
  if (token.get_tsa() != nullptr) report.add("tsa", generalNameText(*token.get_tsa()));
  addExtensions(report, token.get_extensions());
  addSigner(report, token.get_signerInfo());
  addCertificates(report, token.get_certificates());
  return report;
}

Report responseReport(const PKI::TSP::CResponse& response) {
  Report report;
  report.add("type", "RFC 3161 time-stamp response (TimeStampResp)");
  const ASN1::CPKIStatusInfo& status = response.get_status();
  Report& entry = report.addObject("status");
  entry.add("status", statusName(status.get_status()));
  if (const ASN1::CStringList* lines = status.get_statusString()) {
    Report& text = entry.addList("statusString");
    for (const std::string& line : *lines)
      text.append(line);
  }
  if (status.has_failInfo()) entry.add("failInfo", failureNames(status.get_failInfo()));
  if (response.get_timeStampToken() != nullptr)
    report.add("timeStampToken", tokenReport(*response.get_timeStampToken()));
  return report;
}

Report authenticodeRequestReport(const PKI::TSP::CMSRequest& request) {
  Report report;
  report.add("type", "Authenticode time-stamp request");
  report.add("timeStampAlgorithm", oidText(request.get_timeStampAlgorithm()));
  addAttributes(report, "attributes", request.get_attributes());
  Report& content = report.addObject("contentInfo");
  content.add("contentType", oidText(request.get_contentInfo().get_contentType()));
  content.add("content", octetsText(request.get_contentInfo().get_content()));
  return report;
}

Report stampReport(const PKI::TSP::CMSStamp& stamp) {
  Report report;
  report.add("type", "Authenticode time stamp (PKCS #7 SignedData)");
  report.add("signingTime", isoTime(stamp.get_signingTime()));
  report.add("content", octetsText(stamp.get_content()));
  addSigner(report, stamp.get_signerInfo());
  addCertificates(report, stamp.get_certificates());
  return report;
}

bool isCertificate(const CBlob& der) {
  try {
    Certificate certificate(der);
    return true;
  } catch (const ToolError&) {
    return false;
  }
}

[[noreturn]] void notA(const char* what, const ATL::CAtlException& error) {
  throw ToolError(std::string("not a valid ") + what + " (" + hresultText(error.m_hr) + ")");
}

// The eContentType of a ContentInfo holding a SignedData; "" when it cannot be read.
std::string signedContentType(const CBlob& der) {
  ASN1CTXT ctxt;
  BerReader in(der.pbData(), der.cbData(), &ctxt);
  BerReader contentInfo, explicitContent, signedData, digestAlgorithms, encapsulated;
  ASN1OBJID type{};
  OSINT32 version = 0;
  std::string oid;
  if (in.readSequence(contentInfo) && contentInfo.readObjId(type) &&
      contentInfo.readConstructed(asn1ContextTag(0, true), explicitContent) &&
      explicitContent.readSequence(signedData) && signedData.readInt32(version) &&
      signedData.readSet(digestAlgorithms) && signedData.readSequence(encapsulated) &&
      encapsulated.readObjId(type) && ASN1::oid2str(oid, &type))
    return oid;
  return "";
}

// A SignedData is a token when it carries a TSTInfo, a stamp when it carries data.
Report signedDataReport(const CBlob& der) {
  PKI::TSP::CToken token;
  try {
    token.decode(der);
    return tokenReport(token);
  } catch (const ATL::CAtlException& tokenError) {
    PKI::TSP::CMSStamp stamp;
    try {
      stamp.decode(der);
    } catch (const ATL::CAtlException&) {
      notA("time-stamp token or Authenticode stamp", tokenError);
    }
    // An Authenticode signature, for one, decodes as well, but signs no data.
    const std::string content = signedContentType(der);
    if (content != szOID_RSA_data)
      throw ToolError("not a time-stamp message: a PKCS #7 SignedData whose content is " +
                      (content.empty() ? std::string("unreadable") : oidText(content)) +
                      ", not data");
    return stampReport(stamp);
  }
}

}  // namespace

Report reportMessage(const CBlob& der) {
  // The first element inside the outer SEQUENCE tells the messages apart: INTEGER for a request,
  // SEQUENCE (the status) for a response, an OBJECT IDENTIFIER for the others.
  ASN1CTXT ctxt;
  BerReader in(der.pbData(), der.cbData(), &ctxt);
  BerReader message;
  ASN1TAG first = 0;
  if (!in.readSequence(message) || !message.peekTag(first))
    throw ToolError("not a time-stamp message: no DER SEQUENCE");
  try {
    if (first == kTagInteger) {
      PKI::TSP::CRequest request;
      request.decode(der);
      return requestReport(request);
    }
    if (first == kTagSequence) {
      PKI::TSP::CResponse response;
      response.decode(der);
      return responseReport(response);
    }
  } catch (const ATL::CAtlException& error) {
    if (isCertificate(der))
      throw ToolError("not a time-stamp message: an X.509 certificate (use openssl x509)");
    notA(first == kTagInteger ? "TimeStampReq" : "TimeStampResp", error);
  }
  ASN1OBJID type{};
  std::string oid;
  if (first != kTagObjectId || !message.readObjId(type) || !ASN1::oid2str(oid, &type))
    throw ToolError("not a time-stamp message");
  if (oid == szOID_RSA_signedData) return signedDataReport(der);
  if (oid == kAuthenticodeRequestOid) {
    PKI::TSP::CMSRequest request;
    try {
      request.decode(der);
    } catch (const ATL::CAtlException& error) {
      notA("Authenticode time-stamp request", error);
    }
    return authenticodeRequestReport(request);
  }
  throw ToolError("not a time-stamp message: a " + oidText(oid) + " structure");
}

}  // namespace Tools
}  // namespace Zanthorel
