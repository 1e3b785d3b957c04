// zttsp.h: the C interface of the zttsp time-stamping library (RFC 3161 and Authenticode).
//
// Plain C99, usable from C, C++ and any language that calls C functions (C#, Go, Python ctypes).
//
//   zttsp_request* request = NULL;
//   uint8_t* der = NULL;
//   size_t length = 0;
//   if (zttsp_request_new(ZTTSP_OID_SHA256, digest, 32, &request) != ZTTSP_OK ||
//       zttsp_request_encode(request, &der, &length) != ZTTSP_OK)
//     fprintf(stderr, "%s\n", zttsp_last_error_message());
//   ...send der, length as application/timestamp-query...
//   zttsp_free(der);
//   zttsp_request_release(request);
//
// Conventions, for every function below:
// - The result is an HRESULT: ZTTSP_OK (0) on success, a negative ZTTSP_E_ value on failure.
//   After a failure, zttsp_last_error_message() says in words what was wrong; the message
//   belongs to the calling thread and stays until its next call of this interface.
// - Results come through out-parameters. Each is set (to NULL or 0 on failure) before anything
//   else is done, so a caller may free what it got without checking which call failed.
// - Bytes and text handed out by the library are freed with zttsp_free. The library sizes every
//   buffer it hands out: no call fails for a buffer too small.
// - Objects are opaque handles, made by _new and _decode functions and freed with their kind's
//   _release. Handles are never reused: a released handle, a handle of another kind or a value
//   that is no handle gives ZTTSP_E_HANDLE. A handle is used by one thread at a time; distinct
//   handles may be used on different threads at once.
// - A null pointer where one is needed gives ZTTSP_E_POINTER; an input of zero length where
//   bytes are needed, or longer than 4 GiB, gives ZTTSP_E_INVALIDARG. Every call can give
//   ZTTSP_E_OUTOFMEMORY.
// - Object identifiers are dotted text ("2.16.840.1.101.3.4.2.1"); text is NUL-terminated UTF-8.
// - INTEGER values (serial numbers, nonces) are read as the big-endian two's-complement octets
//   of the INTEGER, as encoded: a value whose top bit is set has a leading 00 octet.
// - Times are seconds since 1970-01-01T00:00:00Z and nanoseconds within the second.
#ifndef ZTTSP_ZTTSP_H
#define ZTTSP_ZTTSP_H

#include <stddef.h>
#include <stdint.h>

// Exported from zttsp.dll through its .def file (plain names); with default visibility from
// libzttsp.so.
#if defined(_WIN32)
#if defined(ZTTSP_BUILD)
#define ZTTSP_C_API
#else
#define ZTTSP_C_API __declspec(dllimport)
#endif
#else
#define ZTTSP_C_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

// Results (HRESULT values)
typedef int32_t zttsp_result;

#define ZTTSP_OK ((zttsp_result)0)
// The operation needs a signed or decoded message and the object holds none.
#define ZTTSP_E_FAIL ((zttsp_result)0x80004005L)
// Not available in this build.
#define ZTTSP_E_NOTIMPL ((zttsp_result)0x80004001L)
// A pointer argument that is needed is null.
#define ZTTSP_E_POINTER ((zttsp_result)0x80004003L)
// A handle that is not live, or not of the kind the function takes.
#define ZTTSP_E_HANDLE ((zttsp_result)0x80070006L)
// An argument, or a value in the data, is not valid (empty input, text that is no identifier).
#define ZTTSP_E_INVALIDARG ((zttsp_result)0x80070057L)
#define ZTTSP_E_OUTOFMEMORY ((zttsp_result)0x8007000EL)
// An index past the end of a list.
#define ZTTSP_E_BOUNDS ((zttsp_result)0x8000000BL)
// The object is not in the state the function needs: a token signed or decoded already.
#define ZTTSP_E_ILLEGAL_METHOD_CALL ((zttsp_result)0x8000000EL)
// The bytes are no encoding of the expected structure, or the object cannot be encoded.
#define ZTTSP_E_ASN1_INTERNAL ((zttsp_result)0x80093101L)
#define ZTTSP_E_ASN1_MEMORY ((zttsp_result)0x80093106L)
// A signed message lacks what the library needs of it.
#define ZTTSP_E_BAD_MSG ((zttsp_result)0x8009200DL)
// The signature does not verify with the certificate given.
#define ZTTSP_E_BAD_SIGNATURE ((zttsp_result)0x80090006L)
// Decoding signed messages and certificates may also give the HRESULT forms of the platform's
// errors: CRYPT_E_ASN1_ codes (0x800931xx) for bytes that do not decode, CRYPT_E_ and NTE_
// codes (0x8009xxxx) for messages and keys, 0x8007xxxx for system errors.

// PKIStatus values of a response.
#define ZTTSP_STATUS_GRANTED 0
#define ZTTSP_STATUS_GRANTED_WITH_MODS 1
#define ZTTSP_STATUS_REJECTION 2
#define ZTTSP_STATUS_WAITING 3
#define ZTTSP_STATUS_REVOCATION_WARNING 4
#define ZTTSP_STATUS_REVOCATION_NOTIFICATION 5

// PKIFailureInfo bits of a response: bit n of the BIT STRING is (1 << n).
#define ZTTSP_FAIL_BAD_ALG 0x00000001u
#define ZTTSP_FAIL_BAD_REQUEST 0x00000004u
#define ZTTSP_FAIL_BAD_DATA_FORMAT 0x00000020u
#define ZTTSP_FAIL_TIME_NOT_AVAILABLE 0x00004000u
#define ZTTSP_FAIL_UNACCEPTED_POLICY 0x00008000u
#define ZTTSP_FAIL_UNACCEPTED_EXTENSION 0x00010000u
#define ZTTSP_FAIL_ADD_INFO_NOT_AVAILABLE 0x00020000u
#define ZTTSP_FAIL_SYSTEM_FAILURE 0x02000000u

// Hash algorithms.
#define ZTTSP_OID_SHA1 "1.3.14.3.2.26"
#define ZTTSP_OID_SHA256 "2.16.840.1.101.3.4.2.1"
#define ZTTSP_OID_SHA384 "2.16.840.1.101.3.4.2.2"
#define ZTTSP_OID_SHA512 "2.16.840.1.101.3.4.2.3"

// Key specifications of a Windows provider (AT_KEYEXCHANGE, AT_SIGNATURE).
#define ZTTSP_KEY_EXCHANGE 1u
#define ZTTSP_KEY_SIGNATURE 2u

// Handles
typedef struct zttsp_provider zttsp_provider;      // a signing key
typedef struct zttsp_request zttsp_request;        // RFC 3161 TimeStampReq
typedef struct zttsp_response zttsp_response;      // RFC 3161 TimeStampResp
typedef struct zttsp_token zttsp_token;            // RFC 3161 TimeStampToken
typedef struct zttsp_ms_request zttsp_ms_request;  // Authenticode time-stamp request
typedef struct zttsp_ms_stamp zttsp_ms_stamp;      // Authenticode time stamp

// General

// What the calling thread's last failed call of this interface found wrong; "" after a call
// that succeeded. Never null; valid until the thread's next call.
ZTTSP_C_API const char* zttsp_last_error_message(void);

// Frees bytes or text that the library handed out; NULL is ignored. ZTTSP_E_INVALIDARG for a
// pointer that the library did not hand out or that was freed already.
ZTTSP_C_API zttsp_result zttsp_free(void* buffer);

// Providers: the key that signs tokens and stamps

// Linux: a provider for a PKCS #8 private key, DER or PEM (RSA of 2048 to 4096 bits, ECDSA on
// P-256, P-384 or P-521), used as ZTTSP_KEY_SIGNATURE. ZTTSP_E_INVALIDARG (empty key),
// NTE_BAD_DATA 0x80090005 (no PKCS #8 key), NTE_BAD_KEY 0x80090003 (another algorithm or size).
// Windows: ZTTSP_E_NOTIMPL; acquire a provider with CryptAcquireContext and use
// zttsp_provider_from_handle.
ZTTSP_C_API zttsp_result zttsp_provider_from_pkcs8(const uint8_t* key, size_t key_length,
                                                   zttsp_provider** provider);
// A provider for the key `key_spec` (ZTTSP_KEY_SIGNATURE or ZTTSP_KEY_EXCHANGE) of `hcryptprov`,
// an HCRYPTPROV that the caller acquired (on Linux, from ZtAcquireContextFromPrivateKey). The
// provider takes a reference of its own (CryptContextAddRef): the caller may release its handle
// at once. ZTTSP_E_INVALIDARG (handle 0, or another key spec), or the error of
// CryptContextAddRef for a handle that is no provider.
ZTTSP_C_API zttsp_result zttsp_provider_from_handle(uintptr_t hcryptprov, uint32_t key_spec,
                                                    zttsp_provider** provider);
// Releases the provider's reference; signed tokens and stamps do not need it. NULL is ignored.
ZTTSP_C_API zttsp_result zttsp_provider_release(zttsp_provider* provider);

// RFC 3161 request

// A request (version 1, certReq false) for `hash`, the digest made with `hash_algorithm`,
// written with NULL parameters as OpenSSL and Windows write them. ZTTSP_E_INVALIDARG for an
// algorithm that is no identifier or an empty hash.
ZTTSP_C_API zttsp_result zttsp_request_new(const char* hash_algorithm, const uint8_t* hash,
                                           size_t hash_length, zttsp_request** request);
// ZTTSP_E_INVALIDARG (empty input, or an identifier in it that has no dotted form),
// ZTTSP_E_ASN1_INTERNAL (no DER TimeStampReq).
ZTTSP_C_API zttsp_result zttsp_request_decode(const uint8_t* der, size_t length,
                                              zttsp_request** request);
// The DER encoding, to send as application/timestamp-query.
ZTTSP_C_API zttsp_result zttsp_request_encode(const zttsp_request* request, uint8_t** der,
                                              size_t* length);
// NULL is ignored.
ZTTSP_C_API zttsp_result zttsp_request_release(zttsp_request* request);
ZTTSP_C_API zttsp_result zttsp_request_get_hash_algorithm(const zttsp_request* request, char** oid);
ZTTSP_C_API zttsp_result zttsp_request_get_hash(const zttsp_request* request, uint8_t** hash,
                                                size_t* length);
// The nonce, given as an unsigned big-endian number (8 random octets, say; leading zero octets
// do not count). NULL with length 0 removes it; an all-zero nonce is zero.
ZTTSP_C_API zttsp_result zttsp_request_set_nonce(zttsp_request* request, const uint8_t* nonce,
                                                 size_t length);
// NULL and 0 when the request has none.
ZTTSP_C_API zttsp_result zttsp_request_get_nonce(const zttsp_request* request, uint8_t** nonce,
                                                 size_t* length);
// Whether the authority is asked to put its certificate in the token (non-zero: yes).
ZTTSP_C_API zttsp_result zttsp_request_set_cert_req(zttsp_request* request, int cert_req);
ZTTSP_C_API zttsp_result zttsp_request_get_cert_req(const zttsp_request* request, int* cert_req);
// The policy asked for; NULL removes it. ZTTSP_E_INVALIDARG for text that is no identifier.
ZTTSP_C_API zttsp_result zttsp_request_set_policy(zttsp_request* request, const char* policy);
// NULL when the request asks for none.
ZTTSP_C_API zttsp_result zttsp_request_get_policy(const zttsp_request* request, char** policy);

// RFC 3161 response

// ZTTSP_E_INVALIDARG (empty input), ZTTSP_E_ASN1_INTERNAL (no DER TimeStampResp), and the
// errors of zttsp_token_decode for the token in it.
ZTTSP_C_API zttsp_result zttsp_response_decode(const uint8_t* der, size_t length,
                                               zttsp_response** response);
// Authority side: a response with `status` (ZTTSP_STATUS_), no text, no failInfo, no token.
ZTTSP_C_API zttsp_result zttsp_response_new(int32_t status, zttsp_response** response);
// The DER encoding, to send as application/timestamp-reply. ZTTSP_E_FAIL when the token in it
// was neither signed nor decoded.
ZTTSP_C_API zttsp_result zttsp_response_encode(const zttsp_response* response, uint8_t** der,
                                               size_t* length);
// NULL is ignored.
ZTTSP_C_API zttsp_result zttsp_response_release(zttsp_response* response);
ZTTSP_C_API zttsp_result zttsp_response_get_status(const zttsp_response* response, int32_t* status);
// The statusString lines joined by "\n"; NULL when there are none.
ZTTSP_C_API zttsp_result zttsp_response_get_status_text(const zttsp_response* response,
                                                        char** text);
// Adds one statusString line. ZTTSP_E_INVALIDARG for empty text.
ZTTSP_C_API zttsp_result zttsp_response_add_status_text(zttsp_response* response, const char* text);
// The failInfo bits (ZTTSP_FAIL_), 0 when the response has none.
ZTTSP_C_API zttsp_result zttsp_response_get_fail_info(const zttsp_response* response,
                                                      uint32_t* fail_info);
// 0 removes the failInfo.
ZTTSP_C_API zttsp_result zttsp_response_set_fail_info(zttsp_response* response, uint32_t fail_info);
// A new token handle holding the response's token; NULL when the response has none.
ZTTSP_C_API zttsp_result zttsp_response_get_token(const zttsp_response* response,
                                                  zttsp_token** token);
// Puts a copy of `token` in the response; NULL removes the token.
ZTTSP_C_API zttsp_result zttsp_response_set_token(zttsp_response* response,
                                                  const zttsp_token* token);

// RFC 3161 time-stamp token

// The token keeps `der`: zttsp_token_encode gives back these very bytes. ZTTSP_E_INVALIDARG
// (empty input, an identifier with no dotted form), ZTTSP_E_BAD_MSG (the content is no
// TSTInfo), ZTTSP_E_ASN1_INTERNAL (the TSTInfo or signer does not decode), and the platform's
// CRYPT_E_ codes for bytes that are no signed message.
ZTTSP_C_API zttsp_result zttsp_token_decode(const uint8_t* der, size_t length, zttsp_token** token);
// The DER TimeStampToken. ZTTSP_E_FAIL for a token neither signed nor decoded.
ZTTSP_C_API zttsp_result zttsp_token_encode(const zttsp_token* token, uint8_t** der,
                                            size_t* length);
// NULL is ignored.
ZTTSP_C_API zttsp_result zttsp_token_release(zttsp_token* token);
// ZTTSP_OK when the token has exactly one signer and its signature verifies with
// `certificate` (DER X.509); ZTTSP_E_BAD_SIGNATURE when it does not. ZTTSP_E_FAIL (a token
// neither signed nor decoded), CRYPT_E_ASN1_ codes (bytes that are no certificate). Only the
// signature is checked: not the certificate's chain, validity or key usage, nor the imprint.
ZTTSP_C_API zttsp_result zttsp_token_verify(const zttsp_token* token, const uint8_t* certificate,
                                            size_t length);
// genTime as the GeneralizedTime text of the token, "20240621071205.884Z".
ZTTSP_C_API zttsp_result zttsp_token_get_gen_time_text(const zttsp_token* token, char** text);
// genTime as a time. ZTTSP_E_BAD_MSG when the token's text is no valid time.
ZTTSP_C_API zttsp_result zttsp_token_get_gen_time(const zttsp_token* token, int64_t* seconds,
                                                  uint32_t* nanoseconds);
ZTTSP_C_API zttsp_result zttsp_token_get_serial(const zttsp_token* token, uint8_t** serial,
                                                size_t* length);
ZTTSP_C_API zttsp_result zttsp_token_get_policy(const zttsp_token* token, char** policy);
// The message imprint: the hash algorithm and the hash that the token stamps.
ZTTSP_C_API zttsp_result zttsp_token_get_hash_algorithm(const zttsp_token* token, char** oid);
ZTTSP_C_API zttsp_result zttsp_token_get_hash(const zttsp_token* token, uint8_t** hash,
                                              size_t* length);
// NULL and 0 when the token has no nonce.
ZTTSP_C_API zttsp_result zttsp_token_get_nonce(const zttsp_token* token, uint8_t** nonce,
                                               size_t* length);
// `present` is 0, and the parts 0, when the token states no accuracy.
ZTTSP_C_API zttsp_result zttsp_token_get_accuracy(const zttsp_token* token, int* present,
                                                  uint32_t* seconds, uint32_t* millis,
                                                  uint32_t* micros);
ZTTSP_C_API zttsp_result zttsp_token_get_ordering(const zttsp_token* token, int* ordering);
// The TSA name as text: a directory name as RFC 4514 writes it ("CN=Test TSA,O=Example"; types
// that RFC 4514 does not name as OpenSSL names them, "emailAddress=..."), the other kinds as
// "DNS:host", "URI:http://...", "email:...", "IP:192.0.2.1", "RID:1.2.3", or their kind and hex
// octets. NULL when the token names no authority.
ZTTSP_C_API zttsp_result zttsp_token_get_tsa_name(const zttsp_token* token, char** text);
// The certificates the token carries (DER), in the order of the message.
ZTTSP_C_API zttsp_result zttsp_token_get_certificate_count(const zttsp_token* token, size_t* count);
// ZTTSP_E_BOUNDS for an index from the count on.
ZTTSP_C_API zttsp_result zttsp_token_get_certificate(const zttsp_token* token, size_t index,
                                                     uint8_t** certificate, size_t* length);

// Authority side: an unsigned token answering `request` (its imprint and nonce), with
// `policy`, the serial number `serial` (an unsigned big-endian number) and genTime
// `seconds` + `nanoseconds` (written with the fraction it has, "...05.884Z"). ZTTSP_E_INVALIDARG
// for a policy that is no identifier, an empty serial, a time outside the years 1 to 9999 or
// nanoseconds above 999999999.
ZTTSP_C_API zttsp_result zttsp_token_new(const zttsp_request* request, const char* policy,
                                         const uint8_t* serial, size_t serial_length,
                                         int64_t seconds, uint32_t nanoseconds,
                                         zttsp_token** token);
// The accuracy of genTime. ZTTSP_E_INVALIDARG for millis or micros above 999.
ZTTSP_C_API zttsp_result zttsp_token_set_accuracy(zttsp_token* token, uint32_t seconds,
                                                  uint32_t millis, uint32_t micros);
// Names the authority in the token by the subject of its certificate (DER X.509).
ZTTSP_C_API zttsp_result zttsp_token_set_tsa_name(zttsp_token* token, const uint8_t* certificate,
                                                  size_t length);
// Adds a certificate (DER) to those the signed token carries, as for a request with certReq.
ZTTSP_C_API zttsp_result zttsp_token_add_certificate(zttsp_token* token, const uint8_t* certificate,
                                                     size_t length);
// Adds a signed attribute of type `oid` with one value, `value` being its complete DER
// encoding: the ESS signingCertificateV2 that verifiers look for (RFC 5816), or a signingTime.
ZTTSP_C_API zttsp_result zttsp_token_add_signed_attribute(zttsp_token* token, const char* oid,
                                                          const uint8_t* value, size_t length);
// Signs the token with `provider`, whose certificate is `certificate` (DER X.509), hashing with
// `digest_algorithm` (NULL: SHA-256). After it, zttsp_token_encode gives the signed token;
// changes made later are signed by the next zttsp_token_sign only. The platform's errors for a
// certificate that does not decode or a key that cannot sign (NTE_, CRYPT_E_ codes).
ZTTSP_C_API zttsp_result zttsp_token_sign(zttsp_token* token, const zttsp_provider* provider,
                                          const uint8_t* certificate, size_t length,
                                          const char* digest_algorithm);

// Authenticode time-stamp request

// A request (type 1.3.6.1.4.1.311.3.2.1) to stamp `signature`, the encrypted digest of a
// code signature.
ZTTSP_C_API zttsp_result zttsp_ms_request_new(const uint8_t* signature, size_t length,
                                              zttsp_ms_request** request);
// `der` is the DER request (clients send it base64-encoded over HTTP: decode that first).
// ZTTSP_E_ASN1_INTERNAL when it is no request.
ZTTSP_C_API zttsp_result zttsp_ms_request_decode(const uint8_t* der, size_t length,
                                                 zttsp_ms_request** request);
// The DER encoding (to send base64-encoded).
ZTTSP_C_API zttsp_result zttsp_ms_request_encode(const zttsp_ms_request* request, uint8_t** der,
                                                 size_t* length);
// NULL is ignored.
ZTTSP_C_API zttsp_result zttsp_ms_request_release(zttsp_ms_request* request);
// The request type, "1.3.6.1.4.1.311.3.2.1" for a time-stamp request.
ZTTSP_C_API zttsp_result zttsp_ms_request_get_type(const zttsp_ms_request* request, char** oid);
// The bytes to be stamped. ZTTSP_E_BAD_MSG when the content is no PKCS #7 data.
ZTTSP_C_API zttsp_result zttsp_ms_request_get_content(const zttsp_ms_request* request,
                                                      uint8_t** content, size_t* length);

// Authenticode time stamp

// Authority side: an unsigned stamp of the content of `request`, signed at `seconds` (the
// stamp carries whole seconds). ZTTSP_E_BAD_MSG when the request's content is no PKCS #7 data.
ZTTSP_C_API zttsp_result zttsp_ms_stamp_new(const zttsp_ms_request* request, int64_t seconds,
                                            zttsp_ms_stamp** stamp);
// Adds a certificate (DER) to those the stamp carries. On a signed stamp it signs again.
ZTTSP_C_API zttsp_result zttsp_ms_stamp_add_certificate(zttsp_ms_stamp* stamp,
                                                        const uint8_t* certificate, size_t length);
// Signs the stamp with `provider`, whose certificate is `certificate` (DER X.509), hashing with
// `digest_algorithm` (NULL: SHA-256). The errors as for zttsp_token_sign.
ZTTSP_C_API zttsp_result zttsp_ms_stamp_sign(zttsp_ms_stamp* stamp, const zttsp_provider* provider,
                                             const uint8_t* certificate, size_t length,
                                             const char* digest_algorithm);
// The DER PKCS #7 SignedData (to send base64-encoded). ZTTSP_E_FAIL for a stamp that was not
// signed here, a decoded one included (its bytes are those it was decoded from).
ZTTSP_C_API zttsp_result zttsp_ms_stamp_encode(const zttsp_ms_stamp* stamp, uint8_t** der,
                                               size_t* length);
// ZTTSP_E_INVALIDARG (empty input), ZTTSP_E_BAD_MSG (no signingTime), the platform's CRYPT_E_
// codes for bytes that are no signed message. The signature is checked by zttsp_ms_stamp_verify.
ZTTSP_C_API zttsp_result zttsp_ms_stamp_decode(const uint8_t* der, size_t length,
                                               zttsp_ms_stamp** stamp);
// NULL is ignored.
ZTTSP_C_API zttsp_result zttsp_ms_stamp_release(zttsp_ms_stamp* stamp);
// ZTTSP_OK when the signer named by `certificate` (DER X.509) signed the stamp;
// ZTTSP_E_BAD_SIGNATURE when not. The platform's CRYPT_E_ codes for bytes that are no
// certificate, and for a stamp that holds no message (made by zttsp_ms_stamp_new, not signed).
ZTTSP_C_API zttsp_result zttsp_ms_stamp_verify(const zttsp_ms_stamp* stamp,
                                               const uint8_t* certificate, size_t length);
ZTTSP_C_API zttsp_result zttsp_ms_stamp_get_signing_time(const zttsp_ms_stamp* stamp,
                                                         int64_t* seconds, uint32_t* nanoseconds);
// The stamped bytes (for a stamp answering a request: the request's content).
// ZTTSP_E_BAD_MSG when the content is no OCTET STRING.
ZTTSP_C_API zttsp_result zttsp_ms_stamp_get_content(const zttsp_ms_stamp* stamp, uint8_t** content,
                                                    size_t* length);
ZTTSP_C_API zttsp_result zttsp_ms_stamp_get_certificate_count(const zttsp_ms_stamp* stamp,
                                                              size_t* count);
// ZTTSP_E_BOUNDS for an index from the count on.
ZTTSP_C_API zttsp_result zttsp_ms_stamp_get_certificate(const zttsp_ms_stamp* stamp, size_t index,
                                                        uint8_t** certificate, size_t* length);

#ifdef __cplusplus
}  // extern "C"
#endif

#endif  // ZTTSP_ZTTSP_H
