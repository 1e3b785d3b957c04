// The third-party messages of tests/data/vectors and what is known of each: the one list that
// every suite reading them iterates (tests/data/vectors/README.md says where each came from).
// A suite takes the rows of the kinds it reads and checks them against the row's facts.
#pragma once

#include <initializer_list>
#include <string>
#include <vector>

#include "outside/ztlib/blob.h"
#include "outside/ztlib/dll_list.h"

namespace Zanthorel::PKI::TSP {
class CRequest;
class CResponse;
class CToken;
class CMSRequest;
class CMSStamp;
}  // namespace Zanthorel::PKI::TSP

namespace zttsp_test {

enum class VectorKind {
  request,      // RFC 3161 TimeStampReq
  response,     // RFC 3161 TimeStampResp
  token,        // RFC 3161 TimeStampToken
  msRequest,    // Authenticode time-stamp request
  msStamp,      // Authenticode time stamp (the answer)
  msSignature,  // a whole Authenticode signature: a SignedData, but no time-stamp message
  certificate,  // X.509, DER or a PEM chain
};

// What some suites treat apart.
enum VectorQuirk : unsigned {
  kEcdsa = 1,               // an ECDSA signer, which Wine does not verify
  kUnsortedAttributes = 2,  // signed attributes out of DER order; Wine verifies them re-sorted
  kConstructedContent = 4,  // eContent in a constructed OCTET STRING, which Wine hands out as is
  kBadSignature = 8,        // its signature was broken by the fixture's author
  kNonDerTstInfo = 16,      // a TSTInfo with a DEFAULT value sent, which DER leaves out
  kBase64 = 32,             // the raw HTTP body: base64 in lines
};

struct Vector {
  const char* file;
  VectorKind kind;
  // describe() of the message decoded by its class; null when no class reads it.
  const char* decodesTo;
  // The file whose certificates include the one that verifies the message: a certificate or
  // another vector. Null: exactly one of the message's own certificates does.
  const char* signer = nullptr;
  unsigned quirks = 0;
  // The request the message answers, for the rows that have one.
  const char* request = nullptr;

  bool has(VectorQuirk quirk) const { return (quirks & quirk) != 0; }
  // The octets of the message (a base64 body decoded), and the SignedData it is or holds (a
  // response's token; empty for the rest).
  Zanthorel::CBlob bytes() const;
  Zanthorel::CBlob token() const;
};

// Every file of tests/data/vectors, in the order of the folder's README.
const std::vector<Vector>& vectors();
const Vector& vector(const std::string& file);
// The rows of the given kinds.
std::vector<Vector> vectorsOf(std::initializer_list<VectorKind> kinds);

// The X.509 certificates of a vector: a certificate file's, or a message's own.
Zanthorel::CBlobList certificatesIn(const std::string& file);

// One line for what a decoded message holds, the way the table's decodesTo writes it.
std::string describe(const Zanthorel::PKI::TSP::CRequest& request);
std::string describe(const Zanthorel::PKI::TSP::CToken& token);
std::string describe(const Zanthorel::PKI::TSP::CResponse& response);
std::string describe(const Zanthorel::PKI::TSP::CMSRequest& request);
std::string describe(const Zanthorel::PKI::TSP::CMSStamp& stamp);

}  // namespace zttsp_test
