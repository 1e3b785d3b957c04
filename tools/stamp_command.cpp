// zttsp stamp: files time-stamped by the first of the authorities given that answers well, each
// answer checked as zttsp verify checks it and kept as FILE.tsr.
#include <sys/stat.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <thread>

#include "sdk/atl_exception.h"
#include "tools/command_line.h"
#include "tools/commands.h"
#include "tools/files.h"
#include "tools/report_values.h"
#include "tools/stamp_progress.h"
#include "tools/time_stamp_client.h"
#include "tools/tool_error.h"

namespace Zanthorel {
namespace Tools {
namespace {

struct StampJob {
  std::string file;
  std::string output;  // the .tsr
};

bool isHttpUrl(const std::string& url) {
  for (const char* scheme : {"http://", "https://"}) {
    const std::size_t n = std::strlen(scheme);
    if (url.size() > n && strncasecmp(url.c_str(), scheme, n) == 0) return true;
  }
  return false;
}

// FILE.tsr beside each file, or in `folder`; two files never share one.
std::vector<StampJob> jobsFor(const std::vector<std::string>& files, const std::string& folder) {
  std::vector<StampJob> jobs;
  std::map<std::string, std::string> fileOf;
  for (const std::string& file : files) {
    if (file == "-") throw UsageError("standard input cannot be stamped: give files");
    std::string output = file + ".tsr";
    if (!folder.empty()) output = folder + "/" + output.substr(output.rfind('/') + 1);
    const auto taken = fileOf.emplace(output, file);
    if (!taken.second)
      throw UsageError(taken.first->second + " and " + file + " would both be stamped into " +
                       output);
    jobs.push_back({file, output});
  }
  return jobs;
}

void makeFolder(const std::string& folder) {
  struct stat status;
  if (::stat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) return;
  if (::mkdir(folder.c_str(), 0777) != 0)
    throw ToolError("cannot make the folder " + folder + ": " + std::strerror(errno));
}

std::string failuresText(const std::vector<AuthorityFailure>& failures) {
  std::vector<std::string> parts;
  for (const AuthorityFailure& failure : failures)
    parts.push_back(
        failure.authority +
        (failure.tries > 1 ? " after " + std::to_string(failure.tries) + " tries" : "") + ": " +
        failure.why);
  return joined(parts, "; ");
}

void stampOne(const StampJob& job, HttpClient& http, const TimeStampClientSettings& settings,
              const HashAlgorithm& hash, StampProgress& progress) {
  try {
    const TimeStampResult result =
        requestTimeStamp(http, settings, hash, digestOfFile(hash, job.file));
    if (!result.stamped) {
      progress.failed("zttsp stamp: " + job.file +
                      ": not stamped: " + failuresText(result.failures));
      return;
    }
    writeFileAtomically(job.output, result.response);
    std::string line = job.file + ": " + result.genTime + ", " + result.authority + ", serial " +
                       result.serialNumber + " -> " + job.output;
    if (!result.failures.empty()) line += " (failover: " + failuresText(result.failures) + ")";
    progress.stamped(line, !result.failures.empty());
  } catch (const std::exception& error) {
    progress.failed("zttsp stamp: " + job.file + ": not stamped: " + error.what());
  } catch (const ATL::CAtlException& error) {
    progress.failed("zttsp stamp: " + job.file + ": not stamped: the library failed with HRESULT " +
                    hresultText(error.m_hr));
  }
}

}  // namespace

int stampCommand(const Arguments& arguments) {
  const CommandLine options(arguments,
                            {{"tsa", true},
                             {"sha256", false},
                             {"sha384", false},
                             {"sha512", false},
                             {"policy", true},
                             {"CAfile", true},
                             {"CApath", true},
                             {"untrusted", true},
                             {"tls_CAfile", true},
                             {"out", true},
                             {"jobs", true},
                             {"retries", true},
                             {"backoff", true},
                             {"timeout", true}},
                            static_cast<std::size_t>(-1));
  if (options.positional().empty()) throw UsageError("give the files to stamp");
  TimeStampClientSettings settings{options.values("tsa"),
                                   options.objectIdentifier("policy", ""),
                                   TrustStore::fromOptions(options),
                                   {}};
  if (settings.authorities.empty()) throw UsageError("give an authority: -tsa URL");
  for (const std::string& url : settings.authorities)
    if (!isHttpUrl(url)) throw UsageError("-tsa takes an http:// or https:// URL, not " + url);
  for (const std::string& file : options.values("untrusted"))
    for (const CBlob& der : readCertificates(file))
      settings.untrusted.push_back(der);
  settings.retries = static_cast<unsigned>(options.number("retries", 2, 0, 10));
  settings.backoffMs = static_cast<long>(options.number("backoff", 1000, 0, 60000));
  HttpSettings http;
  http.timeoutMs = static_cast<long>(options.number("timeout", 30, 1, 3600)) * 1000;
  http.tlsCaFile = options.value("tls_CAfile");
  if (!http.tlsCaFile.empty()) readCertificates(http.tlsCaFile);  // a clear line now, not per file
  const bool anyHash = options.has("sha256") || options.has("sha384") || options.has("sha512");
  const HashAlgorithm& hash =
      *hashAlgorithmNamed(anyHash ? options.oneOf({"sha256", "sha384", "sha512"}) : "sha256");
  const std::vector<StampJob> jobs = jobsFor(options.positional(), options.value("out"));
  const std::size_t workers = std::min<std::size_t>(options.number("jobs", 4, 1, 64), jobs.size());
  if (options.has("out")) makeFolder(options.value("out"));

  // An authority that hangs up while TLS writes must give a failed try, not end the program.
  std::signal(SIGPIPE, SIG_IGN);
  // At most -jobs requests in flight: as many workers, each with its own connections.
  const CurlLibrary curl;
  std::vector<std::unique_ptr<HttpClient>> clients;
  while (clients.size() < workers)
    clients.push_back(std::make_unique<HttpClient>(http));
  StampProgress progress(jobs.size());
  std::atomic<std::size_t> next{0};
  const auto work = [&](HttpClient& client) {
    for (std::size_t i = next++; i < jobs.size(); i = next++)
      stampOne(jobs[i], client, settings, hash, progress);
  };
  std::vector<std::thread> threads;
  for (std::size_t i = 1; i < clients.size(); ++i)
    threads.emplace_back(work, std::ref(*clients[i]));
  work(*clients.front());
  for (std::thread& thread : threads)
    thread.join();
  return progress.finish() ? 0 : 1;
}

}  // namespace Tools
}  // namespace Zanthorel
