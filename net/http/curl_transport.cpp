#include "net/http/curl_transport.h"

#include <curl/curl.h>

#include <algorithm>
#include <cstring>

namespace talvo {

namespace {

std::once_flag g_curlInit;

void initCurl() {
    std::call_once(g_curlInit, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

struct Sink {
    std::string data;
    size_t max = 0;
    bool tooLarge = false;
};

size_t onWrite(char* ptr, size_t size, size_t count, void* user) {
    auto* sink = static_cast<Sink*>(user);
    size_t len = size * count;
    if (sink->data.size() + len > sink->max) {
        sink->tooLarge = true;
        return 0;  // anything but len aborts the transfer
    }
    sink->data.append(ptr, len);
    return len;
}

bool hasLineBreak(const std::string& s) {
    return s.find_first_of("\r\n") != std::string::npos;
}

std::string tooLargeMessage(size_t max) {
    return "the answer is larger than " + std::to_string(max) + " bytes";
}

}  // namespace

struct CurlTransport::Transfer {
    CURL* easy = curl_easy_init();
    CURLM* multi = curl_multi_init();
    curl_slist* headers = nullptr;
    bool added = false;
    char errorBuffer[CURL_ERROR_SIZE] = {};
    Sink sink;

    ~Transfer() {
        if (added) {
            curl_multi_remove_handle(multi, easy);
        }
        if (multi) {
            curl_multi_cleanup(multi);
        }
        if (easy) {
            curl_easy_cleanup(easy);
        }
        curl_slist_free_all(headers);
    }
};

CurlTransport::CurlTransport() : CurlTransport(Options{}) {}

CurlTransport::CurlTransport(Options options) : m_options(std::move(options)) {
    initCurl();
}

CurlTransport::~CurlTransport() {
    shutdown();
}

void CurlTransport::shutdown() {
    m_shutdown = true;
    std::lock_guard<std::mutex> lock(m_mutex);
    for (void* multi : m_active) {
        curl_multi_wakeup(static_cast<CURLM*>(multi));
    }
}

HttpResult CurlTransport::send(const HttpRequest& request) {
    try {
        Transfer t;
        if (!t.easy || !t.multi) {
            return HttpResult::failure("cannot start a request");
        }
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            if (m_shutdown) {
                return HttpResult::failure("cancelled");
            }
            m_active.insert(t.multi);
        }
        // Unregisters before the handles are freed, whatever way perform() ends,
        // so shutdown() never wakes a freed handle.
        struct Registration {
            CurlTransport& self;
            void* multi;
            ~Registration() {
                std::lock_guard<std::mutex> lock(self.m_mutex);
                self.m_active.erase(multi);
            }
        } registration{*this, t.multi};
        return perform(request, t);
    } catch (const std::exception& e) {
        // Only allocation can throw here; the exchange is lost, the caller is not.
        return HttpResult::failure(std::string("request failed: ") + e.what());
    }
}

HttpResult CurlTransport::perform(const HttpRequest& request, Transfer& t) {
    CURL* easy = t.easy;
    for (const auto& [name, value] : request.headers) {
        // A line break would let a value smuggle in headers of its own.
        if (hasLineBreak(name) || hasLineBreak(value) || name.empty()) {
            return HttpResult::failure("invalid request header " + name);
        }
        t.headers = curl_slist_append(t.headers, (name + ": " + value).c_str());
    }
    // libcurl waits up to a second for "100 Continue" before sending a large
    // body; the service never asks for it.
    t.headers = curl_slist_append(t.headers, "Expect:");

    long timeoutMs = std::max<long>(1, static_cast<long>(request.timeout.count()));
    curl_easy_setopt(easy, CURLOPT_URL, request.url.c_str());
    curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 0L);
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy, CURLOPT_TIMEOUT_MS, timeoutMs);
    curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT_MS, timeoutMs);
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, t.headers);
    curl_easy_setopt(easy, CURLOPT_USERAGENT, "Talvo");
    curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, t.errorBuffer);
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &onWrite);
    t.sink.max = request.maxResponseBytes;
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, &t.sink);
    // Refuses at once when the announced length is already too much.
    curl_easy_setopt(easy, CURLOPT_MAXFILESIZE_LARGE,
                     static_cast<curl_off_t>(request.maxResponseBytes));
    if (!m_options.noProxy.empty()) {
        curl_easy_setopt(easy, CURLOPT_NOPROXY, m_options.noProxy.c_str());
    }
    if (request.method == "GET") {
        curl_easy_setopt(easy, CURLOPT_HTTPGET, 1L);
    } else {
        if (request.method == "POST") {
            curl_easy_setopt(easy, CURLOPT_POST, 1L);
        } else {
            curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, request.method.c_str());
        }
        if (request.method == "POST" || !request.body.empty()) {
            curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE,
                             static_cast<curl_off_t>(request.body.size()));
            curl_easy_setopt(easy, CURLOPT_POSTFIELDS, request.body.data());
        }
    }

    if (curl_multi_add_handle(t.multi, easy) != CURLM_OK) {
        return HttpResult::failure("cannot start a request");
    }
    t.added = true;
    int running = 1;
    while (true) {
        CURLMcode mc = curl_multi_perform(t.multi, &running);
        if (mc != CURLM_OK) {
            return HttpResult::failure(curl_multi_strerror(mc));
        }
        if (running == 0) {
            break;
        }
        if (m_shutdown) {
            return HttpResult::failure("cancelled");
        }
        // shutdown() wakes this wait at once.
        mc = curl_multi_poll(t.multi, nullptr, 0, 1000, nullptr);
        if (mc != CURLM_OK) {
            return HttpResult::failure(curl_multi_strerror(mc));
        }
        if (m_shutdown) {
            return HttpResult::failure("cancelled");
        }
    }

    CURLcode code = CURLE_OK;
    int left = 0;
    while (CURLMsg* msg = curl_multi_info_read(t.multi, &left)) {
        if (msg->msg == CURLMSG_DONE) {
            code = msg->data.result;
        }
    }
    if (code != CURLE_OK) {
        if (t.sink.tooLarge || code == CURLE_FILESIZE_EXCEEDED) {
            return HttpResult::failure(tooLargeMessage(request.maxResponseBytes));
        }
        return HttpResult::failure(t.errorBuffer[0] != '\0' ? std::string(t.errorBuffer)
                                                            : curl_easy_strerror(code));
    }
    long status = 0;
    curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
    if (status < 100 || status > 999) {
        return HttpResult::failure("the answer is not HTTP");
    }
    return HttpResult{HttpResponse{static_cast<int>(status), std::move(t.sink.data)}, {}};
}

}  // namespace talvo
