#pragma once

#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>

namespace httplib {
class Client;
}

namespace talvo::server {

// A machine translation attempt failed; the message says why (status,
// transport error), never the passage or the key.
class MtError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

struct MtResult {
    std::string text;
    std::string model;
};

// Translates one Hán passage into Vietnamese.
class MtClient {
  public:
    virtual ~MtClient() = default;
    // Throws MtError.
    virtual MtResult translate(const std::string& zh) = 0;
    // Abandons a translate() under way in another thread (shutdown).
    virtual void cancel() {}
};

struct MtOptions {
    std::string url;     // the chat-completions endpoint, http(s)://host[:port]/path
    std::string model;   // sent as "model"
    std::string apiKey;  // sent as a bearer token when not empty
    int timeoutSeconds = 120;
};

// An OpenAI-compatible chat-completions endpoint: the passage goes as the
// user message under a fixed instruction; the answer is the first choice's
// message content.
class ChatCompletionsClient : public MtClient {
  public:
    // Throws std::invalid_argument when the URL is not http(s)://host...
    explicit ChatCompletionsClient(MtOptions options);
    ~ChatCompletionsClient() override;

    MtResult translate(const std::string& zh) override;
    void cancel() override;

    // The request body for a passage (exposed for tests).
    std::string requestBody(const std::string& zh) const;
    // Reads the translation out of a 200 answer; throws MtError.
    static MtResult parseAnswer(const std::string& body, const std::string& fallbackModel);

  private:
    MtOptions m_options;
    std::string m_path;
    std::unique_ptr<httplib::Client> m_client;
    std::mutex m_mutex;  // translate() and cancel() may run on different threads
};

}  // namespace talvo::server
