// CMSRequest and CMSStamp on anything: failures leave what the classes promise to keep.
#include <cstring>

#include "authenticode/ms_request.h"
#include "authenticode/ms_stamp.h"
#include "fuzz/targets/fixed_tsa.h"
#include "fuzz/targets/fuzz_targets.h"
#include "sdk/win32.h"

using Zanthorel::CBlob;
using Zanthorel::CBlobList;
using Zanthorel::CDateTime;
using Zanthorel::ASN1::CContentInfo;
using Zanthorel::PKI::TSP::CMSRequest;
using Zanthorel::PKI::TSP::CMSStamp;

namespace zttsp_fuzz {

void runMSRequest(const std::uint8_t* data, std::size_t size) {
  const CContentInfo earlierContent("1.2.840.113549.1.7.1", CBlob("\x04\x01\x2A", 3));
  CMSRequest request("1.3.6.1.4.1.311.3.2.1", earlierContent);
  const HRESULT hr = hresultOf([&] { request.decode(blobOf(data, size)); });
  if (hr == CRYPT_E_ASN1_INTERNAL) {  // refused by the codec: nothing changed
    if (std::strcmp(request.get_timeStampAlgorithm(), "1.3.6.1.4.1.311.3.2.1") != 0 ||
        !(request.get_contentInfo() == earlierContent) || request.get_attributes() != nullptr)
      fuzzFinding("a refused Authenticode request changed");
    return;
  }
  if (hr != S_OK) fuzzFinding("CMSRequest::decode fails with an unexpected code");

  CMSRequest again;
  if (hresultOf([&] { again.decode(request.encode()); }) != S_OK)
    fuzzFinding("a request we read is no request we can write");
  if (std::strcmp(again.get_timeStampAlgorithm(), request.get_timeStampAlgorithm()) != 0 ||
      !(again.get_contentInfo() == request.get_contentInfo()))
    fuzzFinding("a request reads back with other fields");
}

void runMSStamp(const std::uint8_t* data, std::size_t size) {
  const CDateTime earlierTime(1700000000, 0);
  CMSStamp stamp(CBlob("\x04\x01\x2A", 3), earlierTime);
  CBlobList earlierCertificates;
  earlierCertificates.push_back(fixedCertificate());
  stamp.put_certificates(&earlierCertificates);

  const HRESULT hr = hresultOf([&] { stamp.decode(blobOf(data, size)); });
  // Without a signer a stamp encodes nothing, decoded or not.
  if (hresultOf([&] { stamp.encode(); }) != E_FAIL) fuzzFinding("a decode gave a stamp a signer");
  if (hr != S_OK) {
    // Certificates are replaced last, so a failure keeps them.
    if (stamp.get_certificates() == nullptr || !(*stamp.get_certificates() == earlierCertificates))
      fuzzFinding("a failed decode changed the stamp's certificates");
    if (hr == CRYPT_E_BAD_MSG && !(stamp.get_signingTime() == earlierTime))
      fuzzFinding("a stamp without signingTime changed its time");
  }
  hresultOf([&] { stamp.get_signerInfo(); });
  hresultOf([&] { stamp.verify(fixedCertificate()); });
  const CBlobList* certificates = stamp.get_certificates();
  if (certificates != nullptr && !certificates->empty())
    hresultOf([&] { stamp.verify(certificates->front()); });
}

}  // namespace zttsp_fuzz
