// HTTPS through libcurl: HTTPS only (redirects too), status 200 only, the body's limit and announced length
// enforced, the request and total time-outs, and a progress function that can stop the transfer at any time.
#include <curl/curl.h>

#include <atomic>
#include <chrono>
#include <mutex>

#include "update/Update.h"
#include "update/UpdateBuild.h"

namespace {

// One transfer's state.
struct UpdateFetch {
    uint64_t maxBytes = 0;
    uint64_t received = 0;
    uint64_t expected = 0;
    std::FILE* file = nullptr;
    std::string* body = nullptr;
    std::atomic<bool> failed{false};
    const UpdateProgressFn* progress = nullptr;
    std::chrono::steady_clock::time_point lastProgress{};
    bool finalReported = false;
    bool responseChecked = false;
    CURL* curl = nullptr;
};

// Before the first byte of the body: the final response must be 200 and announce no more than the limit.
bool CheckResponse(UpdateFetch& f) {
    long status = 0;
    curl_off_t length = -1;
    curl_easy_getinfo(f.curl, CURLINFO_RESPONSE_CODE, &status);
    curl_easy_getinfo(f.curl, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
    if (status != 200) return false;
    if (length >= 1 && static_cast<uint64_t>(length) > f.maxBytes) return false;
    f.expected = length > 0 ? static_cast<uint64_t>(length) : 0;
    return true;
}

size_t OnData(char* data, size_t size, size_t count, void* user) {
    auto& f = *static_cast<UpdateFetch*>(user);
    const size_t n = size * count;
    if (f.failed) return 0;
    if (!f.responseChecked) {
        f.responseChecked = true;
        if (!CheckResponse(f)) {
            f.failed = true;
            return 0;
        }
    }
    f.received += n;
    if (f.received > f.maxBytes) {
        f.failed = true;
        return 0;
    }
    if (f.file) {
        if (std::fwrite(data, 1, n, f.file) != n) {
            f.failed = true;
            return 0;
        }
    } else {
        f.body->append(data, n);
    }
    return n;
}

// libcurl calls this often, also while no data flows, so a cancel is seen within a second at worst.
int OnProgress(void* user, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
    auto& f = *static_cast<UpdateFetch*>(user);
    if (f.failed) return 1;
    if (!f.progress || !*f.progress) return 0;
    const auto now = std::chrono::steady_clock::now();
    const bool complete = f.expected > 0 && f.received >= f.expected;
    if (complete && f.finalReported) return 0;
    if (!complete && now - f.lastProgress < std::chrono::milliseconds(100)) return 0;
    f.lastProgress = now;
    f.finalReported = complete;
    if (!(*f.progress)(f.received, f.expected)) {
        f.failed = true;
        return 1;
    }
    return 0;
}

}  // namespace

bool HttpsGet(const std::string& url, uint64_t maxBytes, std::FILE* file, const UpdateProgressFn& progress,
              std::string& body) {
    body.clear();
    if (url.empty() || url.rfind("https://", 0) != 0) return false;
    static std::once_flag once;
    std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
    CURL* curl = curl_easy_init();
    if (!curl) return false;

    UpdateFetch f;
    f.maxBytes = maxBytes;
    f.file = file;
    f.body = &body;
    f.progress = &progress;
    f.curl = curl;
    f.lastProgress = std::chrono::steady_clock::now() - std::chrono::seconds(1);

    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "https");
    curl_easy_setopt(curl, CURLOPT_REDIR_PROTOCOLS_STR, "https");  // a redirect to http fails the transfer
    curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(curl, CURLOPT_MAXREDIRS, 5L);
    curl_easy_setopt(curl, CURLOPT_USERAGENT, "Quorvane/1.0");
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 1L);
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 2L);
    // The request's time-out: 10 s to connect, and a stall of 10 s without a byte ends it.
    curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT, 10L);
    curl_easy_setopt(curl, CURLOPT_LOW_SPEED_LIMIT, 1L);
    curl_easy_setopt(curl, CURLOPT_LOW_SPEED_TIME, 10L);
    curl_easy_setopt(curl, CURLOPT_TIMEOUT, file ? 1800L : 40L);
    curl_easy_setopt(curl, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(maxBytes));
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, OnData);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &f);
    curl_easy_setopt(curl, CURLOPT_XFERINFOFUNCTION, OnProgress);
    curl_easy_setopt(curl, CURLOPT_XFERINFODATA, &f);
    curl_easy_setopt(curl, CURLOPT_NOPROGRESS, 0L);
    const std::string testCertificate = UpdateTestCertificateFile();
    if (UpdateIsTestBuild() && !testCertificate.empty() && UpdateCore::IsLoopbackTestHost(UpdateCore::UrlHost(url)))
        curl_easy_setopt(curl, CURLOPT_CAINFO, testCertificate.c_str());

    const CURLcode code = curl_easy_perform(curl);
    if (code != CURLE_OK) f.failed = true;
    // A body that never started (204, an empty 200, a 404 without one) is judged here.
    if (!f.failed && !f.responseChecked && !CheckResponse(f)) f.failed = true;
    curl_easy_cleanup(curl);
    const bool ok = !f.failed && (f.expected == 0 || f.received == f.expected);
    if (!ok) body.clear();
    return ok;
}
