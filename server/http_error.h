#pragma once

#include <stdexcept>
#include <string>
#include <utility>

namespace talvo::server {

// The one error a request handler throws: the HTTP status and a short
// message for the client. ApiService turns it into the response (a JSON
// body {"error": message} and the headers the status calls for) in one
// place. Messages never quote the request body or a token.
class HttpError : public std::runtime_error {
  public:
    HttpError(int status, const std::string& message)
        : std::runtime_error(message), m_status(status) {}
    // With an extra response header (Allow for 405).
    HttpError(int status, const std::string& message, std::pair<std::string, std::string> header)
        : std::runtime_error(message), m_status(status), m_header(std::move(header)) {}

    int status() const { return m_status; }
    const std::pair<std::string, std::string>& header() const { return m_header; }

  private:
    int m_status;
    std::pair<std::string, std::string> m_header;
};

}  // namespace talvo::server
