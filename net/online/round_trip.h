#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "net/async/executor.h"
#include "net/http/http_transport.h"

namespace talvo {

// The round trip every online client makes: the request is sent on the
// background executor, the answer is read there (off the owner thread, so a
// large body costs the interface nothing) and what the reader makes of it is
// handed to the completion through the owner executor — unless the client
// that owns this object has been destroyed meanwhile, in which case the
// completion is dropped.
//
// Threads: run() and fail() are called on the owner thread, where the object
// is destroyed too. The transport and executors must outlive every call.
class RoundTrip {
  public:
    RoundTrip(HttpTransport& transport, Executor& background, Executor& owner)
        : m_transport(transport), m_background(background), m_owner(owner) {}
    RoundTrip(const RoundTrip&) = delete;
    RoundTrip& operator=(const RoundTrip&) = delete;

    // Sends `request`; `done` gets read(result). When no background thread
    // takes the task, `done` gets `refused` instead.
    template <class Outcome>
    void run(HttpRequest request, std::function<Outcome(const HttpResult&)> read,
             std::function<void(Outcome)> done, Outcome refused) {
        auto deliver = delivery(std::move(done));
        HttpTransport* transport = &m_transport;
        Executor* owner = &m_owner;
        bool posted = m_background.post(
            [transport, owner, deliver, read = std::move(read), request = std::move(request)] {
                auto outcome = std::make_shared<Outcome>(read(transport->send(request)));
                owner->post([deliver, outcome] { deliver(std::move(*outcome)); });
            });
        if (!posted) {
            fail(deliver, std::move(refused));
        }
    }

    // `done` gets `outcome` through the owner executor, without any request
    // (one that could not be built): the caller's completion never runs
    // inside the call that asked for it.
    template <class Outcome>
    void fail(std::function<void(Outcome)> done, Outcome outcome) {
        auto deliver = delivery(std::move(done));
        auto shared = std::make_shared<Outcome>(std::move(outcome));
        m_owner.post([deliver, shared] { deliver(std::move(*shared)); });
    }

  private:
    template <class Outcome>
    std::function<void(Outcome)> delivery(std::function<void(Outcome)> done) {
        std::weak_ptr<char> alive = m_alive;
        return [alive, done = std::move(done)](Outcome outcome) {
            if (!alive.expired() && done) {
                done(std::move(outcome));
            }
        };
    }

    HttpTransport& m_transport;
    Executor& m_background;
    Executor& m_owner;
    std::shared_ptr<char> m_alive = std::make_shared<char>();
};

}  // namespace talvo
