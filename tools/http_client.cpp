#include "tools/http_client.h"

#include <curl/curl.h>

#include <cstdio>
#include <memory>

#include "tools/tool_error.h"

namespace Zanthorel {
namespace Tools {
namespace {

struct Reception {
  std::string body;
  std::size_t limit;
  bool tooLarge = false;
};

std::size_t receive(char* data, std::size_t size, std::size_t count, void* context) {
  auto& reception = *static_cast<Reception*>(context);
  const std::size_t n = size * count;
  if (reception.body.size() + n > reception.limit) {
    reception.tooLarge = true;
    return 0;  // stops the transfer
  }
  reception.body.append(data, n);
  return n;
}

struct HeaderListDeleter {
  void operator()(curl_slist* list) const noexcept { curl_slist_free_all(list); }
};
using HeaderList = std::unique_ptr<curl_slist, HeaderListDeleter>;

// Failures that another try may not meet: the server was down, slow or cut the connection.
bool worthRetrying(CURLcode code) {
  switch (code) {
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_COULDNT_CONNECT:
    case CURLE_OPERATION_TIMEDOUT:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
    case CURLE_GOT_NOTHING:
    case CURLE_PARTIAL_FILE:
    case CURLE_HTTP2:
    case CURLE_HTTP2_STREAM:
    case CURLE_SSL_CONNECT_ERROR:
      return true;
    default:
      return false;
  }
}

std::string failureText(CURLcode code, const char* detail, const Reception& reception,
                        long timeoutMs) {
  if (reception.tooLarge)
    return "the answer is larger than " + std::to_string(reception.limit / 1024) +
           " KiB; the rest was not read";
  if (code == CURLE_OPERATION_TIMEDOUT) {
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%g", static_cast<double>(timeoutMs) / 1000);
    return std::string("no whole answer within ") + seconds + " s (" +
           std::to_string(reception.body.size()) + " bytes of body came)";
  }
  if (code == CURLE_FILESIZE_EXCEEDED)
    return "the answer announces more than " + std::to_string(reception.limit / 1024) +
           " KiB; it was not read";
  return detail[0] != '\0' ? detail : curl_easy_strerror(code);
}

}  // namespace

CurlLibrary::CurlLibrary() {
  if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) throw ToolError("libcurl did not start");
}

CurlLibrary::~CurlLibrary() {
  curl_global_cleanup();
}

HttpClient::HttpClient(const HttpSettings& settings)
    : settings_(settings), curl_(curl_easy_init()) {
  if (curl_ == nullptr) throw ToolError("libcurl did not start");
}

HttpClient::~HttpClient() {
  curl_easy_cleanup(static_cast<CURL*>(curl_));
}

HttpAnswer HttpClient::post(const std::string& url, const CBlob& body,
                            const std::vector<std::string>& headers) {
  CURL* curl = static_cast<CURL*>(curl_);
  curl_easy_reset(curl);  // keeps the connections, forgets the last request's options
  HeaderList list;
  for (const std::string& header : headers) {
    curl_slist* longer = curl_slist_append(list.get(), header.c_str());
    if (longer == nullptr) throw ToolError("out of memory");
    list.release();
    list.reset(longer);
  }
  // No "Expect: 100-continue" round trip, whatever the body's size.
  curl_slist* longer = curl_slist_append(list.get(), "Expect:");
  if (longer == nullptr) throw ToolError("out of memory");
  list.release();
  list.reset(longer);

  Reception reception{{}, settings_.maxAnswer};
  char detail[CURL_ERROR_SIZE] = "";
  const std::string agent = userAgent();
  curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
  curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(curl, CURLOPT_POST, 1L);
  curl_easy_setopt(curl, CURLOPT_POSTFIELDS, body.pbData());
  curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.cbData()));
  curl_easy_setopt(curl, CURLOPT_HTTPHEADER, list.get());
  curl_easy_setopt(curl, CURLOPT_USERAGENT, agent.c_str());
  curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 0L);
  curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, settings_.timeoutMs);
  curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT_MS, std::min(settings_.timeoutMs, 10000L));
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);  // threads: no SIGALRM for the deadlines
  curl_easy_setopt(curl, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(settings_.maxAnswer));
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, receive);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &reception);
  curl_easy_setopt(curl, CURLOPT_ERRORBUFFER, detail);
  if (!settings_.tlsCaFile.empty())
    curl_easy_setopt(curl, CURLOPT_CAINFO, settings_.tlsCaFile.c_str());

  HttpAnswer answer;
  const CURLcode code = curl_easy_perform(curl);
  if (code != CURLE_OK) {
    answer.failure = failureText(code, detail, reception, settings_.timeoutMs);
    answer.worthRetrying = !reception.tooLarge && worthRetrying(code);
    return answer;
  }
  curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &answer.status);
  const char* text = nullptr;
  if (curl_easy_getinfo(curl, CURLINFO_CONTENT_TYPE, &text) == CURLE_OK && text != nullptr)
    answer.contentType = text;
  text = nullptr;
  if (curl_easy_getinfo(curl, CURLINFO_REDIRECT_URL, &text) == CURLE_OK && text != nullptr)
    answer.location = text;
  answer.body.assign(reception.body.data(), static_cast<std::uint32_t>(reception.body.size()));
  return answer;
}

std::string userAgent() {
  return std::string("zttsp/" ZTTSP_VERSION " libcurl/") +
         curl_version_info(CURLVERSION_NOW)->version;
}

}  // namespace Tools
}  // namespace Zanthorel
