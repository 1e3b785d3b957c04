// The Windows cryptographic message, certificate and provider functions, for the Linux build.
//
// Code written for Windows compiles unchanged with this header in place of <windows.h> and
// <wincrypt.h>. Types and structures have their Windows x64 layouts; the functions behave as
// Windows documents them, and are exported from libzttsp.so.
//
// A Linux caller gets a provider for a private key from platform/key_provider.h (Windows callers
// use CryptAcquireContext instead).
//
// What this layer does where Windows leaves a choice or where it does less than Windows:
// - Signed messages only: CMSG_SIGNED, whole content, attached; no streaming (pStreamInfo must be
//   NULL), no detached or bare-content flags, no key-identifier signers or CMS-field extras.
// - Signing writes SignedData version 1, or 3 in the CMS form (CMSG_CMS_ENCAPSULATED_CONTENT_FLAG
//   with a non-data inner type, content in an OCTET STRING). Non-data content always gets signed
//   attributes. contentType and messageDigest are always computed: the caller's own are replaced.
//   PKCS #7-form content (non-data, no flag) must be one SEQUENCE, which decoding wants as well.
// - Certificates of a decoded message: CMSG_CERT_COUNT_PARAM and CMSG_CERT_PARAM count and return
//   only the X.509 certificates of the certificate set, in message order. Attribute certificates
//   and other choices are accepted and skipped, so that every CMSG_CERT_PARAM result can be
//   passed to CertCreateCertificateContext. Likewise CMSG_CRL_COUNT_PARAM and CMSG_CRL_PARAM see
//   only the X.509 CRLs, not OCSP responses or other revocation choices.
// - CMSG_SIGNER_AUTH_ATTR_PARAM / CMSG_SIGNER_UNAUTH_ATTR_PARAM fill one self-contained block
//   (pointers into the caller's buffer, which must be 8-aligned as malloc and new give it).
// - CMSG_CTRL_VERIFY_SIGNATURE also requires one contentType attribute equal to the content type
//   when there are signed attributes (CRYPT_E_UNEXPECTED_ENCODING otherwise), as RFC 5652 asks;
//   whether Windows checks it is not documented, and Wine writes id-data there for every content.
#pragma once

#include <cstddef>

#include "sdk/export.h"
#include "sdk/windef.h"
#include "sdk/winerror.h"

// ---- Handles ----------------------------------------------------------------------------------

typedef ULONG_PTR HCRYPTPROV;
typedef ULONG_PTR HCRYPTPROV_LEGACY;
typedef ULONG_PTR NCRYPT_KEY_HANDLE;
typedef ULONG_PTR HCRYPTPROV_OR_NCRYPT_KEY_HANDLE;
typedef void* HCRYPTMSG;
typedef void* HCERTSTORE;
typedef unsigned int ALG_ID;

// ---- Blobs ------------------------------------------------------------------------------------

// Integer blobs (serial numbers) are little-endian: pbData[0] is the least significant byte.
typedef struct _CRYPTOAPI_BLOB {
  DWORD cbData;
  BYTE* pbData;
} CRYPT_INTEGER_BLOB, *PCRYPT_INTEGER_BLOB, CRYPT_UINT_BLOB, *PCRYPT_UINT_BLOB, CRYPT_OBJID_BLOB,
    *PCRYPT_OBJID_BLOB, CERT_NAME_BLOB, *PCERT_NAME_BLOB, CERT_RDN_VALUE_BLOB,
    *PCERT_RDN_VALUE_BLOB, CERT_BLOB, *PCERT_BLOB, CRL_BLOB, *PCRL_BLOB, DATA_BLOB, *PDATA_BLOB,
    CRYPT_DATA_BLOB, *PCRYPT_DATA_BLOB, CRYPT_HASH_BLOB, *PCRYPT_HASH_BLOB, CRYPT_DIGEST_BLOB,
    *PCRYPT_DIGEST_BLOB, CRYPT_DER_BLOB, *PCRYPT_DER_BLOB, CRYPT_ATTR_BLOB, *PCRYPT_ATTR_BLOB;

typedef struct _CRYPT_BIT_BLOB {
  DWORD cbData;
  BYTE* pbData;
  DWORD cUnusedBits;
} CRYPT_BIT_BLOB, *PCRYPT_BIT_BLOB;

// ---- Certificates -----------------------------------------------------------------------------

// pszObjId is a dotted OID; Parameters is the complete DER TLV of the parameters (cbData 0:
// absent).
typedef struct _CRYPT_ALGORITHM_IDENTIFIER {
  LPSTR pszObjId;
  CRYPT_OBJID_BLOB Parameters;
} CRYPT_ALGORITHM_IDENTIFIER, *PCRYPT_ALGORITHM_IDENTIFIER;

// PublicKey holds the BIT STRING contents without the unused-bits octet.
typedef struct _CERT_PUBLIC_KEY_INFO {
  CRYPT_ALGORITHM_IDENTIFIER Algorithm;
  CRYPT_BIT_BLOB PublicKey;
} CERT_PUBLIC_KEY_INFO, *PCERT_PUBLIC_KEY_INFO;

// 100-nanosecond intervals since 1601-01-01 UTC.
typedef struct _FILETIME {
  DWORD dwLowDateTime;
  DWORD dwHighDateTime;
} FILETIME, *PFILETIME, *LPFILETIME;

// Value holds the contents of the extnValue OCTET STRING.
typedef struct _CERT_EXTENSION {
  LPSTR pszObjId;
  BOOL fCritical;
  CRYPT_OBJID_BLOB Value;
} CERT_EXTENSION, *PCERT_EXTENSION;

// Issuer and Subject hold the complete DER Name, exactly as in the certificate.
typedef struct _CERT_INFO {
  DWORD dwVersion;
  CRYPT_INTEGER_BLOB SerialNumber;
  CRYPT_ALGORITHM_IDENTIFIER SignatureAlgorithm;
  CERT_NAME_BLOB Issuer;
  FILETIME NotBefore;
  FILETIME NotAfter;
  CERT_NAME_BLOB Subject;
  CERT_PUBLIC_KEY_INFO SubjectPublicKeyInfo;
  CRYPT_BIT_BLOB IssuerUniqueId;
  CRYPT_BIT_BLOB SubjectUniqueId;
  DWORD cExtension;
  PCERT_EXTENSION rgExtension;
} CERT_INFO, *PCERT_INFO;

typedef struct _CERT_CONTEXT {
  DWORD dwCertEncodingType;
  BYTE* pbCertEncoded;
  DWORD cbCertEncoded;
  PCERT_INFO pCertInfo;
  HCERTSTORE hCertStore;
} CERT_CONTEXT, *PCERT_CONTEXT;
typedef const CERT_CONTEXT* PCCERT_CONTEXT;

// CERT_INFO.dwVersion.
#define CERT_V1 0
#define CERT_V2 1
#define CERT_V3 2

typedef struct _CERT_ISSUER_SERIAL_NUMBER {
  CERT_NAME_BLOB Issuer;
  CRYPT_INTEGER_BLOB SerialNumber;
} CERT_ISSUER_SERIAL_NUMBER, *PCERT_ISSUER_SERIAL_NUMBER;

typedef struct _CERT_ID {
  DWORD dwIdChoice;
  union {
    CERT_ISSUER_SERIAL_NUMBER IssuerSerialNumber;
    CRYPT_HASH_BLOB KeyId;
    CRYPT_HASH_BLOB HashId;
  };
} CERT_ID, *PCERT_ID;

#define CERT_ID_ISSUER_SERIAL_NUMBER 1
#define CERT_ID_KEY_IDENTIFIER 2
#define CERT_ID_SHA1_HASH 3

// ---- Attributes -------------------------------------------------------------------------------

// Each rgValue[i] is the complete DER TLV of one AttributeValue.
typedef struct _CRYPT_ATTRIBUTE {
  LPSTR pszObjId;
  DWORD cValue;
  PCRYPT_ATTR_BLOB rgValue;
} CRYPT_ATTRIBUTE, *PCRYPT_ATTRIBUTE;

typedef struct _CRYPT_ATTRIBUTES {
  DWORD cAttr;
  PCRYPT_ATTRIBUTE rgAttr;
} CRYPT_ATTRIBUTES, *PCRYPT_ATTRIBUTES;

// ---- Message parameter blocks -----------------------------------------------------------------

// rgAuthAttr and rgUnauthAttr are arrays of CRYPT_ATTRIBUTE structures. The CMS fields are there
// only when the includer defines CMSG_SIGNER_ENCODE_INFO_HAS_CMS_FIELDS, as on Windows.
typedef struct _CMSG_SIGNER_ENCODE_INFO {
  DWORD cbSize;
  PCERT_INFO pCertInfo;
  union {
    HCRYPTPROV hCryptProv;
    NCRYPT_KEY_HANDLE hNCryptKey;
  };
  DWORD dwKeySpec;
  CRYPT_ALGORITHM_IDENTIFIER HashAlgorithm;
  void* pvHashAuxInfo;
  DWORD cAuthAttr;
  PCRYPT_ATTRIBUTE rgAuthAttr;
  DWORD cUnauthAttr;
  PCRYPT_ATTRIBUTE rgUnauthAttr;
#ifdef CMSG_SIGNER_ENCODE_INFO_HAS_CMS_FIELDS
  CERT_ID SignerId;
  CRYPT_ALGORITHM_IDENTIFIER HashEncryptionAlgorithm;
  void* pvHashEncryptionAuxInfo;
#endif
} CMSG_SIGNER_ENCODE_INFO, *PCMSG_SIGNER_ENCODE_INFO;

typedef struct _CMSG_SIGNED_ENCODE_INFO {
  DWORD cbSize;
  DWORD cSigners;
  PCMSG_SIGNER_ENCODE_INFO rgSigners;
  DWORD cCertEncoded;
  PCERT_BLOB rgCertEncoded;
  DWORD cCrlEncoded;
  PCRL_BLOB rgCrlEncoded;
#ifdef CMSG_SIGNED_ENCODE_INFO_HAS_CMS_FIELDS
  DWORD cAttrCertEncoded;
  PCERT_BLOB rgAttrCertEncoded;
#endif
} CMSG_SIGNED_ENCODE_INFO, *PCMSG_SIGNED_ENCODE_INFO;

typedef struct _CMSG_SIGNER_INFO {
  DWORD dwVersion;
  CERT_NAME_BLOB Issuer;
  CRYPT_INTEGER_BLOB SerialNumber;
  CRYPT_ALGORITHM_IDENTIFIER HashAlgorithm;
  CRYPT_ALGORITHM_IDENTIFIER HashEncryptionAlgorithm;
  CRYPT_DATA_BLOB EncryptedHash;
  CRYPT_ATTRIBUTES AuthAttrs;
  CRYPT_ATTRIBUTES UnauthAttrs;
} CMSG_SIGNER_INFO, *PCMSG_SIGNER_INFO;

// Streaming is not supported: every function that takes a PCMSG_STREAM_INFO wants NULL.
typedef BOOL(WINAPI* PFN_CMSG_STREAM_OUTPUT)(const void* pvArg, BYTE* pbData, DWORD cbData,
                                             BOOL fFinal);
typedef struct _CMSG_STREAM_INFO {
  DWORD cbContent;
  PFN_CMSG_STREAM_OUTPUT pfnStreamOutput;
  void* pvArg;
} CMSG_STREAM_INFO, *PCMSG_STREAM_INFO;

// ---- Layout checks: the Windows x64 sizes and offsets -----------------------------------------

static_assert(sizeof(CRYPT_INTEGER_BLOB) == 16 && offsetof(CRYPT_INTEGER_BLOB, pbData) == 8,
              "CRYPTOAPI_BLOB layout");
static_assert(sizeof(CRYPT_BIT_BLOB) == 24 && offsetof(CRYPT_BIT_BLOB, cUnusedBits) == 16,
              "CRYPT_BIT_BLOB layout");
static_assert(sizeof(CRYPT_ALGORITHM_IDENTIFIER) == 24 &&
                  offsetof(CRYPT_ALGORITHM_IDENTIFIER, Parameters) == 8,
              "CRYPT_ALGORITHM_IDENTIFIER layout");
static_assert(sizeof(CERT_PUBLIC_KEY_INFO) == 48 && offsetof(CERT_PUBLIC_KEY_INFO, PublicKey) == 24,
              "CERT_PUBLIC_KEY_INFO layout");
static_assert(sizeof(FILETIME) == 8 && offsetof(FILETIME, dwHighDateTime) == 4, "FILETIME layout");
static_assert(sizeof(CERT_EXTENSION) == 32 && offsetof(CERT_EXTENSION, fCritical) == 8 &&
                  offsetof(CERT_EXTENSION, Value) == 16,
              "CERT_EXTENSION layout");
static_assert(sizeof(CERT_INFO) == 208 && offsetof(CERT_INFO, SerialNumber) == 8 &&
                  offsetof(CERT_INFO, SignatureAlgorithm) == 24 &&
                  offsetof(CERT_INFO, Issuer) == 48 && offsetof(CERT_INFO, NotBefore) == 64 &&
                  offsetof(CERT_INFO, NotAfter) == 72 && offsetof(CERT_INFO, Subject) == 80 &&
                  offsetof(CERT_INFO, SubjectPublicKeyInfo) == 96 &&
                  offsetof(CERT_INFO, IssuerUniqueId) == 144 &&
                  offsetof(CERT_INFO, SubjectUniqueId) == 168 &&
                  offsetof(CERT_INFO, cExtension) == 192 && offsetof(CERT_INFO, rgExtension) == 200,
              "CERT_INFO layout");
static_assert(sizeof(CERT_CONTEXT) == 40 && offsetof(CERT_CONTEXT, pbCertEncoded) == 8 &&
                  offsetof(CERT_CONTEXT, cbCertEncoded) == 16 &&
                  offsetof(CERT_CONTEXT, pCertInfo) == 24 &&
                  offsetof(CERT_CONTEXT, hCertStore) == 32,
              "CERT_CONTEXT layout");
static_assert(sizeof(CERT_ID) == 40, "CERT_ID layout");
static_assert(sizeof(CRYPT_ATTRIBUTE) == 24 && offsetof(CRYPT_ATTRIBUTE, cValue) == 8 &&
                  offsetof(CRYPT_ATTRIBUTE, rgValue) == 16,
              "CRYPT_ATTRIBUTE layout");
static_assert(sizeof(CRYPT_ATTRIBUTES) == 16 && offsetof(CRYPT_ATTRIBUTES, rgAttr) == 8,
              "CRYPT_ATTRIBUTES layout");
static_assert(offsetof(CMSG_SIGNER_ENCODE_INFO, pCertInfo) == 8 &&
                  offsetof(CMSG_SIGNER_ENCODE_INFO, hCryptProv) == 16 &&
                  offsetof(CMSG_SIGNER_ENCODE_INFO, dwKeySpec) == 24 &&
                  offsetof(CMSG_SIGNER_ENCODE_INFO, HashAlgorithm) == 32 &&
                  offsetof(CMSG_SIGNER_ENCODE_INFO, pvHashAuxInfo) == 56 &&
                  offsetof(CMSG_SIGNER_ENCODE_INFO, cAuthAttr) == 64 &&
                  offsetof(CMSG_SIGNER_ENCODE_INFO, rgAuthAttr) == 72 &&
                  offsetof(CMSG_SIGNER_ENCODE_INFO, cUnauthAttr) == 80 &&
                  offsetof(CMSG_SIGNER_ENCODE_INFO, rgUnauthAttr) == 88,
              "CMSG_SIGNER_ENCODE_INFO layout");
static_assert(offsetof(CMSG_SIGNED_ENCODE_INFO, cSigners) == 4 &&
                  offsetof(CMSG_SIGNED_ENCODE_INFO, rgSigners) == 8 &&
                  offsetof(CMSG_SIGNED_ENCODE_INFO, cCertEncoded) == 16 &&
                  offsetof(CMSG_SIGNED_ENCODE_INFO, rgCertEncoded) == 24 &&
                  offsetof(CMSG_SIGNED_ENCODE_INFO, cCrlEncoded) == 32 &&
                  offsetof(CMSG_SIGNED_ENCODE_INFO, rgCrlEncoded) == 40,
              "CMSG_SIGNED_ENCODE_INFO layout");
#ifdef CMSG_SIGNER_ENCODE_INFO_HAS_CMS_FIELDS
static_assert(sizeof(CMSG_SIGNER_ENCODE_INFO) == 168 &&
                  offsetof(CMSG_SIGNER_ENCODE_INFO, SignerId) == 96 &&
                  offsetof(CMSG_SIGNER_ENCODE_INFO, HashEncryptionAlgorithm) == 136 &&
                  offsetof(CMSG_SIGNER_ENCODE_INFO, pvHashEncryptionAuxInfo) == 160,
              "CMSG_SIGNER_ENCODE_INFO with CMS fields layout");
#else
static_assert(sizeof(CMSG_SIGNER_ENCODE_INFO) == 96, "CMSG_SIGNER_ENCODE_INFO layout");
#endif
#ifdef CMSG_SIGNED_ENCODE_INFO_HAS_CMS_FIELDS
static_assert(sizeof(CMSG_SIGNED_ENCODE_INFO) == 64 &&
                  offsetof(CMSG_SIGNED_ENCODE_INFO, rgAttrCertEncoded) == 56,
              "CMSG_SIGNED_ENCODE_INFO with CMS fields layout");
#else
static_assert(sizeof(CMSG_SIGNED_ENCODE_INFO) == 48, "CMSG_SIGNED_ENCODE_INFO layout");
#endif
static_assert(sizeof(CMSG_SIGNER_INFO) == 136 && offsetof(CMSG_SIGNER_INFO, Issuer) == 8 &&
                  offsetof(CMSG_SIGNER_INFO, SerialNumber) == 24 &&
                  offsetof(CMSG_SIGNER_INFO, HashAlgorithm) == 40 &&
                  offsetof(CMSG_SIGNER_INFO, HashEncryptionAlgorithm) == 64 &&
                  offsetof(CMSG_SIGNER_INFO, EncryptedHash) == 88 &&
                  offsetof(CMSG_SIGNER_INFO, AuthAttrs) == 104 &&
                  offsetof(CMSG_SIGNER_INFO, UnauthAttrs) == 120,
              "CMSG_SIGNER_INFO layout");

// ---- Constants --------------------------------------------------------------------------------

#define X509_ASN_ENCODING 0x00000001
#define PKCS_7_ASN_ENCODING 0x00010000

#define CMSG_DATA 1
#define CMSG_SIGNED 2
#define CMSG_ENVELOPED 3
#define CMSG_SIGNED_AND_ENVELOPED 4
#define CMSG_HASHED 5
#define CMSG_ENCRYPTED 6

#define CMSG_BARE_CONTENT_FLAG 0x00000001
#define CMSG_LENGTH_ONLY_FLAG 0x00000002
#define CMSG_DETACHED_FLAG 0x00000004
#define CMSG_AUTHENTICATED_ATTRIBUTES_FLAG 0x00000008
#define CMSG_CONTENTS_OCTETS_FLAG 0x00000010
#define CMSG_MAX_LENGTH_FLAG 0x00000020
#define CMSG_CMS_ENCAPSULATED_CONTENT_FLAG 0x00000040
#define CMSG_CRYPT_RELEASE_CONTEXT_FLAG 0x00008000

#define CMSG_TYPE_PARAM 1
#define CMSG_CONTENT_PARAM 2
#define CMSG_BARE_CONTENT_PARAM 3
#define CMSG_INNER_CONTENT_TYPE_PARAM 4
#define CMSG_SIGNER_COUNT_PARAM 5
#define CMSG_SIGNER_INFO_PARAM 6
#define CMSG_SIGNER_CERT_INFO_PARAM 7
#define CMSG_SIGNER_HASH_ALGORITHM_PARAM 8
#define CMSG_SIGNER_AUTH_ATTR_PARAM 9
#define CMSG_SIGNER_UNAUTH_ATTR_PARAM 10
#define CMSG_CERT_COUNT_PARAM 11
#define CMSG_CERT_PARAM 12
#define CMSG_CRL_COUNT_PARAM 13
#define CMSG_CRL_PARAM 14
#define CMSG_COMPUTED_HASH_PARAM 22
#define CMSG_ENCRYPTED_DIGEST 27
#define CMSG_ENCODED_SIGNER 28
#define CMSG_ENCODED_MESSAGE 29
#define CMSG_VERSION_PARAM 30
#define CMSG_SIGNER_CERT_ID_PARAM 38
#define CMSG_CMS_SIGNER_INFO_PARAM 39

#define CMSG_CTRL_VERIFY_SIGNATURE 1
#define CMSG_CTRL_VERIFY_HASH 5
#define CMSG_CTRL_VERIFY_SIGNATURE_EX 19

#define CMSG_SIGNED_DATA_V1 1
#define CMSG_SIGNED_DATA_V3 3
#define CMSG_SIGNER_INFO_V1 1
#define CMSG_SIGNER_INFO_V3 3

#define AT_KEYEXCHANGE 1
#define AT_SIGNATURE 2
#define CERT_NCRYPT_KEY_SPEC 0xFFFFFFFF

// Content types.
#define szOID_RSA_data "1.2.840.113549.1.7.1"
#define szOID_RSA_signedData "1.2.840.113549.1.7.2"
#define szOID_RSA_envelopedData "1.2.840.113549.1.7.3"
#define szOID_RSA_signEnvData "1.2.840.113549.1.7.4"
#define szOID_RSA_digestedData "1.2.840.113549.1.7.5"
#define szOID_RSA_encryptedData "1.2.840.113549.1.7.6"
#define szOID_TIMESTAMP_TOKEN "1.2.840.113549.1.9.16.1.4"

// Attributes.
#define szOID_RSA_contentType "1.2.840.113549.1.9.3"
#define szOID_RSA_messageDigest "1.2.840.113549.1.9.4"
#define szOID_RSA_signingTime "1.2.840.113549.1.9.5"
#define szOID_RSA_counterSign "1.2.840.113549.1.9.6"
#define szOID_RFC3161_counterSign "1.3.6.1.4.1.311.3.3.1"

// Digests.
#define szOID_OIWSEC_sha1 "1.3.14.3.2.26"
#define szOID_NIST_sha256 "2.16.840.1.101.3.4.2.1"
#define szOID_NIST_sha384 "2.16.840.1.101.3.4.2.2"
#define szOID_NIST_sha512 "2.16.840.1.101.3.4.2.3"

// Keys and signatures.
#define szOID_RSA_RSA "1.2.840.113549.1.1.1"
#define szOID_RSA_SHA1RSA "1.2.840.113549.1.1.5"
#define szOID_RSA_SSA_PSS "1.2.840.113549.1.1.10"
#define szOID_RSA_SHA256RSA "1.2.840.113549.1.1.11"
#define szOID_RSA_SHA384RSA "1.2.840.113549.1.1.12"
#define szOID_RSA_SHA512RSA "1.2.840.113549.1.1.13"
#define szOID_ECC_PUBLIC_KEY "1.2.840.10045.2.1"
#define szOID_ECDSA_SHA1 "1.2.840.10045.4.1"
#define szOID_ECDSA_SHA256 "1.2.840.10045.4.3.2"
#define szOID_ECDSA_SHA384 "1.2.840.10045.4.3.3"
#define szOID_ECDSA_SHA512 "1.2.840.10045.4.3.4"
#define szOID_ECC_CURVE_P256 "1.2.840.10045.3.1.7"
#define szOID_ECC_CURVE_P384 "1.3.132.0.34"
#define szOID_ECC_CURVE_P521 "1.3.132.0.35"

// ---- Functions --------------------------------------------------------------------------------

extern "C" {

// The calling thread's last error, as Windows keeps it per thread.
ZTTSP_API DWORD WINAPI GetLastError(void);
ZTTSP_API void WINAPI SetLastError(DWORD error);

// Certificate contexts: the context owns a copy of the bytes and a CERT_INFO decoded from them.
ZTTSP_API PCCERT_CONTEXT WINAPI CertCreateCertificateContext(DWORD dwCertEncodingType,
                                                             const BYTE* pbCertEncoded,
                                                             DWORD cbCertEncoded);
ZTTSP_API BOOL WINAPI CertFreeCertificateContext(PCCERT_CONTEXT pCertContext);

// Signed messages. Encoding: CMSG_SIGNED, one final CryptMsgUpdate with the whole content.
// Decoding: one final CryptMsgUpdate with the whole message. pStreamInfo must be NULL.
ZTTSP_API HCRYPTMSG WINAPI CryptMsgOpenToEncode(DWORD dwMsgEncodingType, DWORD dwFlags,
                                                DWORD dwMsgType, void const* pvMsgEncodeInfo,
                                                LPSTR pszInnerContentObjID,
                                                PCMSG_STREAM_INFO pStreamInfo);
ZTTSP_API HCRYPTMSG WINAPI CryptMsgOpenToDecode(DWORD dwMsgEncodingType, DWORD dwFlags,
                                                DWORD dwMsgType, HCRYPTPROV_LEGACY hCryptProv,
                                                PCERT_INFO pRecipientInfo,
                                                PCMSG_STREAM_INFO pStreamInfo);
ZTTSP_API BOOL WINAPI CryptMsgUpdate(HCRYPTMSG hCryptMsg, const BYTE* pbData, DWORD cbData,
                                     BOOL fFinal);
ZTTSP_API BOOL WINAPI CryptMsgGetParam(HCRYPTMSG hCryptMsg, DWORD dwParamType, DWORD dwIndex,
                                       void* pvData, DWORD* pcbData);
ZTTSP_API BOOL WINAPI CryptMsgControl(HCRYPTMSG hCryptMsg, DWORD dwFlags, DWORD dwCtrlType,
                                      void const* pvCtrlPara);
// Returns the same handle with one more reference; each reference needs its own CryptMsgClose.
ZTTSP_API HCRYPTMSG WINAPI CryptMsgDuplicate(HCRYPTMSG hCryptMsg);
ZTTSP_API BOOL WINAPI CryptMsgClose(HCRYPTMSG hCryptMsg);

// Provider references: every CryptContextAddRef needs its own CryptReleaseContext.
ZTTSP_API BOOL WINAPI CryptContextAddRef(HCRYPTPROV hProv, DWORD* pdwReserved, DWORD dwFlags);
ZTTSP_API BOOL WINAPI CryptReleaseContext(HCRYPTPROV hProv, DWORD dwFlags);

}  // extern "C"
