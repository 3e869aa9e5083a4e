// SPDX-License-Identifier: MIT
#include "exporter/endpoint.h"

#include <microhttpd.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string_view>
#include <thread>

#include "platform/runtime/log.h"

namespace exporter {

using platform::Descriptor;
using std::chrono::steady_clock;

namespace {

constexpr std::string_view kPath = "/metrics";
constexpr const char* kTextType = "text/plain; version=0.0.4; charset=utf-8";
constexpr const char* kOpenType = "application/openmetrics-text; version=1.0.0; charset=utf-8";
constexpr const char* kPlainType = "text/plain; charset=utf-8";
constexpr std::string_view kOpenAccepted = "application/openmetrics-text";
constexpr int kWaiting = 16;  ///< connections that wait for their turn
constexpr std::chrono::milliseconds kTryAgain{50};

Descriptor socketAt(const platform::TcpAddress& address) {
    Descriptor listener(socket(address.family(), SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const int on = 1;
    const auto* const where = reinterpret_cast<const sockaddr*>(&address.address);
    if (!listener.isOpen() ||
        setsockopt(listener.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0 ||
        bind(listener.get(), where, address.length) != 0 || listen(listener.get(), kWaiting) != 0)
        return Descriptor();
    return listener;
}

struct Page {
    unsigned status = MHD_HTTP_OK;
    const char* type = kPlainType;
    std::string text;
};

using Response = std::unique_ptr<MHD_Response, void (*)(MHD_Response*)>;

MHD_Result send(MHD_Connection* connection, const Page& page) {
    const Response response(
        MHD_create_response_from_buffer(page.text.size(),
                                        const_cast<char*>(page.text.data()),  // copied
                                        MHD_RESPMEM_MUST_COPY),
        MHD_destroy_response);
    if (response == nullptr)
        return MHD_NO;
    MHD_add_response_header(response.get(), MHD_HTTP_HEADER_CONTENT_TYPE, page.type);
    // Places are few: who comes again waits its turn again.
    MHD_add_response_header(response.get(), MHD_HTTP_HEADER_CONNECTION, "close");
    if (page.status == MHD_HTTP_METHOD_NOT_ALLOWED)
        MHD_add_response_header(response.get(), MHD_HTTP_HEADER_ALLOW, "GET, HEAD");
    return MHD_queue_response(connection, page.status, response.get());
}

/// Whether the client takes OpenMetrics.
bool takesOpen(MHD_Connection* connection) {
    const char* const accepted =
        MHD_lookup_connection_value(connection, MHD_HEADER_KIND, MHD_HTTP_HEADER_ACCEPT);
    return accepted != nullptr &&
           std::string_view(accepted).find(kOpenAccepted) != std::string_view::npos;
}

}  // namespace

struct Endpoint::Library {
    static Page page(Endpoint& endpoint, MHD_Connection* connection, std::string_view path,
                     std::string_view method) {
        if (method != MHD_HTTP_METHOD_GET && method != MHD_HTTP_METHOD_HEAD)
            return {MHD_HTTP_METHOD_NOT_ALLOWED, kPlainType, "allowed: GET and HEAD\n"};
        if (path == "/")
            return {MHD_HTTP_OK, kPlainType, "what mvrp counts is at /metrics\n"};
        if (path != kPath)
            return {MHD_HTTP_NOT_FOUND, kPlainType, "there is /metrics, and nothing else\n"};
        const bool open = takesOpen(connection);
        Answer answer =
            endpoint.source_(open ? cli::MetricsFormat::OpenMetrics : cli::MetricsFormat::Text);
        if (!answer.found)
            return {MHD_HTTP_SERVICE_UNAVAILABLE, kPlainType, std::move(answer.text)};
        return {MHD_HTTP_OK, open ? kOpenType : kTextType, std::move(answer.text)};
    }

    /// Called once with the header alone, then with what follows of a body and at its end.
    static MHD_Result answer(void* endpoint, MHD_Connection* connection, const char* path,
                             const char* method, const char* /*version*/, const char* /*body*/,
                             std::size_t* bodyBytes, void** seen) {
        static char begun;
        if (*seen == nullptr) {
            *seen = &begun;
            return MHD_YES;
        }
        if (*bodyBytes != 0) {  // no body means anything here
            *bodyBytes = 0;
            return MHD_YES;
        }
        try {
            return send(connection,
                        page(*static_cast<Endpoint*>(endpoint), connection, path, method));
        } catch (const std::exception& error) {
            platform::logMessage(platform::LogPriority::Error, "metrics: %s", error.what());
            return MHD_NO;
        }
    }

    static void cameOrWent(void* self, MHD_Connection* connection, void** /*context*/,
                           MHD_ConnectionNotificationCode code) {
        auto& endpoint = *static_cast<Endpoint*>(self);
        const MHD_ConnectionInfo* const info =
            MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
        if (info == nullptr)
            return;
        const std::lock_guard lock(endpoint.guard_);
        if (code == MHD_CONNECTION_NOTIFY_STARTED)
            endpoint.clients_[info->connect_fd] = steady_clock::now();
        else
            endpoint.clients_.erase(info->connect_fd);
    }
};

Descriptor listenAt(const platform::TcpAddress& address) {
    const auto end = steady_clock::now() + kAddressTime;
    for (;;) {
        Descriptor listener = socketAt(address);
        if (listener.isOpen())
            return listener;
        const int error = errno;
        if (error != EADDRINUSE || steady_clock::now() > end)
            throw std::runtime_error(platform::errorText(error));
        std::this_thread::sleep_for(kTryAgain);
    }
}

Endpoint::Endpoint(Descriptor listener, std::function<Answer(cli::MetricsFormat)> source)
    : source_(std::move(source)), daemon_(nullptr, MHD_stop_daemon) {
    daemon_.reset(
        MHD_start_daemon(MHD_USE_AUTO_INTERNAL_THREAD, 0, nullptr, nullptr, &Library::answer, this,
                         MHD_OPTION_LISTEN_SOCKET, listener.get(), MHD_OPTION_CONNECTION_LIMIT,
                         kMostClients, MHD_OPTION_CONNECTION_TIMEOUT, kQuietSeconds,
                         MHD_OPTION_CONNECTION_MEMORY_LIMIT, kMostRequestBytes,
                         MHD_OPTION_NOTIFY_CONNECTION, &Library::cameOrWent, this, MHD_OPTION_END));
    if (daemon_ == nullptr)
        throw std::runtime_error("the HTTP library does not start");
    listener.release();  // the library's now
}

Endpoint::~Endpoint() = default;

void Endpoint::endSlowClients() {
    const Time latest = steady_clock::now() - kMostTime;
    const std::lock_guard lock(guard_);
    for (const auto& [client, since] : clients_)
        if (since < latest)
            shutdown(client, SHUT_RDWR);
}

}  // namespace exporter
