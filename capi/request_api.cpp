// The RFC 3161 request through the C interface.
#include "capi/algorithms.h"
#include "capi/message_calls.h"
#include "capi/objects.h"

using namespace Zanthorel::CApi;
using Zanthorel::CBlob;
using Zanthorel::ASN1::CBigInteger;
using Zanthorel::PKI::TSP::CRequest;

zttsp_result zttsp_request_new(const char* hash_algorithm, const uint8_t* hash, size_t hash_length,
                               zttsp_request** request) {
  return runCall(__func__, [&] {
    outArgument(request, "request");
    const char* algorithm = oidArgument(hash_algorithm, "hash_algorithm");
    const CBlob digest = bytesArgument(hash, hash_length, "hash");
    publish(request, hashIdentifier(algorithm), digest, false);
  });
}

zttsp_result zttsp_request_decode(const uint8_t* der, size_t length, zttsp_request** request) {
  return decodeCall(__func__, der, length, request, "request");
}

zttsp_result zttsp_request_encode(const zttsp_request* request, uint8_t** der, size_t* length) {
  return encodeCall(__func__, request, der, length);
}

zttsp_result zttsp_request_release(zttsp_request* request) {
  return releaseHandle(__func__, request);
}

zttsp_result zttsp_request_get_hash_algorithm(const zttsp_request* request, char** oid) {
  return runCall(__func__, [&] {
    TextResult out(oid, "oid");
    out.give(Use<zttsp_request>(request)->get_hashAlgorithm().get_algorithm());
  });
}

zttsp_result zttsp_request_get_hash(const zttsp_request* request, uint8_t** hash, size_t* length) {
  return runCall(__func__, [&] {
    BytesResult out(hash, length, "hash");
    out.give(Use<zttsp_request>(request)->get_hashedMessage());
  });
}

zttsp_result zttsp_request_set_nonce(zttsp_request* request, const uint8_t* nonce, size_t length) {
  return runCall(__func__, [&] {
    const Use<zttsp_request> object(request);
    if (nonce == nullptr && length == 0) return object->put_nonce(nullptr);
    const CBlob magnitude = bytesArgument(nonce, length, "nonce");
    const CBigInteger value = CBigInteger::fromUnsigned(magnitude.pbData(), magnitude.cbData());
    object->put_nonce(&value);
  });
}

zttsp_result zttsp_request_get_nonce(const zttsp_request* request, uint8_t** nonce,
                                     size_t* length) {
  return runCall(__func__, [&] {
    BytesResult out(nonce, length, "nonce");
    const CBigInteger* value = Use<zttsp_request>(request)->get_nonce();
    out.give(value != nullptr ? &value->get_value() : nullptr);
  });
}

// certReq is a constructor argument of the C++ request: a new one takes the other fields over.
zttsp_result zttsp_request_set_cert_req(zttsp_request* request, int cert_req) {
  return runCall(__func__, [&] {
    const Use<zttsp_request> object(request);
    CRequest changed(object->get_hashAlgorithm(), object->get_hashedMessage(), cert_req != 0);
    changed.put_reqPolicy(object->get_reqPolicy());
    changed.put_nonce(object->get_nonce());
    changed.put_extensions(object->get_extensions());
    *object = changed;
  });
}

zttsp_result zttsp_request_get_cert_req(const zttsp_request* request, int* cert_req) {
  return runCall(__func__, [&] {
    int& result = outArgument(cert_req, "cert_req");
    result = Use<zttsp_request>(request)->get_certReq() ? 1 : 0;
  });
}

zttsp_result zttsp_request_set_policy(zttsp_request* request, const char* policy) {
  return runCall(__func__, [&] {
    const Use<zttsp_request> object(request);
    object->put_reqPolicy(policy != nullptr ? oidArgument(policy, "policy") : nullptr);
  });
}

zttsp_result zttsp_request_get_policy(const zttsp_request* request, char** policy) {
  return runCall(__func__, [&] {
    TextResult out(policy, "policy");
    out.give(Use<zttsp_request>(request)->get_reqPolicy());
  });
}
