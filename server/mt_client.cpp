#include "server/mt_client.h"

#include <httplib.h>

#include <nlohmann/json.hpp>

#include "core/text/unicode.h"

namespace talvo::server {

namespace {

using json = nlohmann::json;

constexpr const char* kInstruction =
    "You translate Classical Chinese (Hán văn), including classical medical texts, into "
    "modern Vietnamese. Keep the meaning exact and the register plain. Answer with the "
    "Vietnamese translation only, without notes, quotes or the original text.";

}  // namespace

ChatCompletionsClient::ChatCompletionsClient(MtOptions options) : m_options(std::move(options)) {
    const std::string& url = m_options.url;
    size_t scheme = url.find("://");
    if (scheme == std::string::npos ||
        (url.compare(0, scheme, "http") != 0 && url.compare(0, scheme, "https") != 0)) {
        throw std::invalid_argument("--mt-url must start with http:// or https://");
    }
    size_t path = url.find('/', scheme + 3);
    std::string origin = path == std::string::npos ? url : url.substr(0, path);
    m_path = path == std::string::npos ? "/" : url.substr(path);
    if (origin.size() <= scheme + 3) {
        throw std::invalid_argument("--mt-url has no host");
    }
    m_client = std::make_unique<httplib::Client>(origin);
    if (!m_client->is_valid()) {
        throw std::invalid_argument("--mt-url is not usable: " + origin);
    }
    m_client->set_connection_timeout(10);
    m_client->set_read_timeout(m_options.timeoutSeconds);
    m_client->set_write_timeout(30);
}

ChatCompletionsClient::~ChatCompletionsClient() = default;

std::string ChatCompletionsClient::requestBody(const std::string& zh) const {
    json body{{"model", m_options.model},
              {"messages", json::array({{{"role", "system"}, {"content", kInstruction}},
                                        {{"role", "user"}, {"content", zh}}})},
              {"temperature", 0.2}};
    return body.dump(-1, ' ', false, json::error_handler_t::replace);
}

MtResult ChatCompletionsClient::parseAnswer(const std::string& body,
                                            const std::string& fallbackModel) {
    json answer = json::parse(body, nullptr, false);
    if (answer.is_discarded() || !answer.is_object()) {
        throw MtError("the answer is not a JSON object");
    }
    auto choices = answer.find("choices");
    if (choices == answer.end() || !choices->is_array() || choices->empty() ||
        !(*choices)[0].is_object()) {
        throw MtError("the answer has no choices");
    }
    const json& first = (*choices)[0];
    auto message = first.find("message");
    if (message == first.end() || !message->is_object()) {
        throw MtError("the first choice has no message");
    }
    auto content = message->find("content");
    if (content == message->end() || !content->is_string()) {
        throw MtError("the message has no text content");
    }
    std::string text(talvo::text::trimWhitespace(content->get<std::string>()));
    if (text.empty()) {
        throw MtError("the translation is empty");
    }
    MtResult result{std::move(text), fallbackModel};
    auto model = answer.find("model");
    if (model != answer.end() && model->is_string() && !model->get<std::string>().empty()) {
        result.model = model->get<std::string>();
    }
    return result;
}

MtResult ChatCompletionsClient::translate(const std::string& zh) {
    std::lock_guard lock(m_mutex);
    httplib::Headers headers;
    if (!m_options.apiKey.empty()) {
        headers.emplace("Authorization", "Bearer " + m_options.apiKey);
    }
    httplib::Result result = m_client->Post(m_path, headers, requestBody(zh), "application/json");
    if (!result) {
        throw MtError("transport: " + httplib::to_string(result.error()));
    }
    if (result->status != 200) {
        std::string why = "HTTP " + std::to_string(result->status);
        json error = json::parse(result->body, nullptr, false);
        if (error.is_object() && error.contains("error") && error["error"].is_object() &&
            error["error"].contains("message") && error["error"]["message"].is_string()) {
            why += ": " + error["error"]["message"].get<std::string>().substr(0, 200);
        }
        throw MtError(why);
    }
    return parseAnswer(result->body, m_options.model);
}

void ChatCompletionsClient::cancel() {
    m_client->stop();
}

}  // namespace talvo::server
