// A time-stamp client in C on the zttsp C interface, in two steps around any RFC 3161
// authority (over HTTP, or `openssl ts -reply` as in the test that runs this example):
//
//   tsa_client request SHA256_HEX REQUEST_FILE
//       writes a request for the digest, with a nonce and certReq
//   tsa_client check REQUEST_FILE RESPONSE_FILE TSA_CERTIFICATE_DER
//       checks that the response grants a token for that request, signed by the authority
//       whose certificate is given, and prints what the token says
//
// Plain C99: it builds with any C compiler against zttsp.h and the library alone.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <zttsp/zttsp.h>

// Reports a failed call with the library's own words and leaves.
static void check(zttsp_result result, const char* what) {
  if (result == ZTTSP_OK) return;
  fprintf(stderr, "tsa_client: %s failed: %s\n", what, zttsp_last_error_message());
  exit(1);
}

static void require(int condition, const char* complaint) {
  if (condition) return;
  fprintf(stderr, "tsa_client: %s\n", complaint);
  exit(1);
}

// The whole file in memory; the caller frees it.
static uint8_t* read_file(const char* path, size_t* length) {
  FILE* file = fopen(path, "rb");
  uint8_t* bytes = NULL;
  long size;
  require(file != NULL, "cannot open an input file");
  require(
      fseek(file, 0, SEEK_END) == 0 && (size = ftell(file)) > 0 && fseek(file, 0, SEEK_SET) == 0,
      "cannot size an input file");
  bytes = malloc((size_t)size);
  require(bytes != NULL && fread(bytes, 1, (size_t)size, file) == (size_t)size,
          "cannot read an input file");
  fclose(file);
  *length = (size_t)size;
  return bytes;
}

static void write_file(const char* path, const uint8_t* bytes, size_t length) {
  FILE* file = fopen(path, "wb");
  require(file != NULL && fwrite(bytes, 1, length, file) == length && fclose(file) == 0,
          "cannot write the output file");
}

static int same_bytes(const uint8_t* a, size_t a_length, const uint8_t* b, size_t b_length) {
  return a_length == b_length && (a_length == 0 || memcmp(a, b, a_length) == 0);
}

static int make_request(const char* digest_hex, const char* request_path) {
  uint8_t digest[32];
  uint8_t nonce[8];
  zttsp_request* request = NULL;
  uint8_t* der = NULL;
  size_t length = 0;
  size_t i;
  unsigned long clock_bits = (unsigned long)time(NULL) ^ (unsigned long)clock();

  require(strlen(digest_hex) == 64, "a SHA-256 digest is 64 hex digits");
  for (i = 0; i < sizeof digest; ++i) {
    unsigned byte;
    require(sscanf(digest_hex + 2 * i, "%2x", &byte) == 1, "the digest is no hex");
    digest[i] = (uint8_t)byte;
  }
  // A nonce need only be unlikely to repeat: it ties the answer to this request.
  srand((unsigned)clock_bits);
  for (i = 0; i < sizeof nonce; ++i)
    nonce[i] = (uint8_t)(rand() ^ (int)(clock_bits >> (i % 4 * 8)));

  check(zttsp_request_new(ZTTSP_OID_SHA256, digest, sizeof digest, &request), "making the request");
  check(zttsp_request_set_nonce(request, nonce, sizeof nonce), "setting the nonce");
  check(zttsp_request_set_cert_req(request, 1), "asking for the certificate");
  check(zttsp_request_encode(request, &der, &length), "encoding the request");
  write_file(request_path, der, length);
  printf("request: %lu bytes for SHA-256 %s\n", (unsigned long)length, digest_hex);
  zttsp_free(der);
  zttsp_request_release(request);
  return 0;
}

static void print_hex(const char* label, const uint8_t* bytes, size_t length) {
  size_t i;
  printf("%s", label);
  for (i = 0; i < length; ++i)
    printf("%02x", bytes[i]);
  printf("\n");
}

// The response must grant a token over the request's imprint and nonce that the authority signed.
static int check_response(const char* request_path, const char* response_path,
                          const char* certificate_path) {
  size_t request_length, response_length, certificate_length;
  uint8_t* request_der = read_file(request_path, &request_length);
  uint8_t* response_der = read_file(response_path, &response_length);
  uint8_t* certificate = read_file(certificate_path, &certificate_length);
  zttsp_request* request = NULL;
  zttsp_response* response = NULL;
  zttsp_token* token = NULL;
  int32_t status = 0;
  uint8_t *asked, *stamped, *asked_nonce, *token_nonce, *serial;
  size_t asked_length, stamped_length, asked_nonce_length, token_nonce_length, serial_length;
  char *gen_time, *tsa_name, *policy, *status_text;
  int64_t seconds;
  uint32_t nanoseconds;

  check(zttsp_request_decode(request_der, request_length, &request), "reading the request");
  check(zttsp_response_decode(response_der, response_length, &response), "reading the response");
  check(zttsp_response_get_status(response, &status), "reading the status");
  if (status != ZTTSP_STATUS_GRANTED && status != ZTTSP_STATUS_GRANTED_WITH_MODS) {
    check(zttsp_response_get_status_text(response, &status_text), "reading the status text");
    fprintf(stderr, "tsa_client: refused with status %d: %s\n", (int)status,
            status_text != NULL ? status_text : "(no text)");
    return 1;
  }
  check(zttsp_response_get_token(response, &token), "taking the token");
  require(token != NULL, "a granted response without a token");
  check(zttsp_token_verify(token, certificate, certificate_length), "verifying the token");

  check(zttsp_request_get_hash(request, &asked, &asked_length), "reading the request's hash");
  check(zttsp_token_get_hash(token, &stamped, &stamped_length), "reading the token's hash");
  require(same_bytes(asked, asked_length, stamped, stamped_length),
          "the token stamps another hash than the one asked for");
  check(zttsp_request_get_nonce(request, &asked_nonce, &asked_nonce_length), "reading the nonce");
  check(zttsp_token_get_nonce(token, &token_nonce, &token_nonce_length), "reading the nonce");
  require(same_bytes(asked_nonce, asked_nonce_length, token_nonce, token_nonce_length),
          "the token answers another request (nonce)");

  check(zttsp_token_get_gen_time_text(token, &gen_time), "reading genTime");
  check(zttsp_token_get_gen_time(token, &seconds, &nanoseconds), "reading genTime");
  check(zttsp_token_get_serial(token, &serial, &serial_length), "reading the serial number");
  check(zttsp_token_get_policy(token, &policy), "reading the policy");
  check(zttsp_token_get_tsa_name(token, &tsa_name), "reading the TSA name");
  printf("verified: token for the request, signed by the authority\n");
  printf("genTime: %s (%lld s + %lu ns since 1970)\n", gen_time, (long long)seconds,
         (unsigned long)nanoseconds);
  print_hex("serial: ", serial, serial_length);
  printf("policy: %s\n", policy);
  printf("tsa: %s\n", tsa_name != NULL ? tsa_name : "(not named)");

  zttsp_free(asked);
  zttsp_free(stamped);
  zttsp_free(asked_nonce);
  zttsp_free(token_nonce);
  zttsp_free(serial);
  zttsp_free(gen_time);
  zttsp_free(policy);
  zttsp_free(tsa_name);
  zttsp_token_release(token);
  zttsp_response_release(response);
  zttsp_request_release(request);
  free(request_der);
  free(response_der);
  free(certificate);
  return 0;
}

int main(int argc, char** argv) {
  if (argc == 4 && strcmp(argv[1], "request") == 0) return make_request(argv[2], argv[3]);
  if (argc == 5 && strcmp(argv[1], "check") == 0) return check_response(argv[2], argv[3], argv[4]);
  fprintf(stderr,
          "usage: tsa_client request SHA256_HEX REQUEST_FILE\n"
          "       tsa_client check REQUEST_FILE RESPONSE_FILE TSA_CERTIFICATE_DER\n");
  return 2;
}
