// SPDX-License-Identifier: MIT
#include "cli/client/client.h"

#include <fcntl.h>
#include <poll.h>
#include <pwd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <utility>

namespace cli {

namespace {

/// The runtime directory that the service's unit gives the daemon.
constexpr const char* kServiceDirectory = "/run/mvrp";
constexpr std::size_t kReadBytes = 65536;

/// The socket for those who may only read, beside one of the command channel; empty for another.
std::string readSocketBeside(const std::string& path) {
    const std::size_t name = path.rfind('/') + 1;
    return path.substr(name) == kSocketName ? path.substr(0, name) + platform::kReadSocketName
                                            : std::string();
}

void append(std::vector<std::byte>& buffer, std::span<const std::byte> bytes) {
    buffer.insert(buffer.end(), bytes.begin(), bytes.end());
}

std::string connectFailure(const std::string& path, int error) {
    const std::string start = "cannot connect to " + path + ": ";
    if (error == ENOENT || error == ECONNREFUSED) {
        return start + (error == ENOENT ? "there is no such socket" : "nobody listens there") +
               "; is mvrp running? --socket or $MVRP_RUNTIME_DIR say which daemon is meant";
    }
    if (error == EACCES || error == EPERM) {
        return start +
               "not permitted; allowed are root, the user that runs the daemon and the members of "
               "the groups that its configuration names";
    }
    return start + std::strerror(error);
}

}  // namespace

bool isTrustedUser(uid_t user) {
    constexpr const char* kServiceUser = "mvrp";
    if (user == 0 || user == geteuid())
        return true;
    const passwd* service = getpwnam(kServiceUser);
    return service != nullptr && service->pw_uid == user;
}

std::string defaultSocketPath() {
    const char* directory = std::getenv("MVRP_RUNTIME_DIR");
    if (directory != nullptr && *directory != '\0')
        return std::string(directory) + "/" + kSocketName;
    const std::string service = std::string(kServiceDirectory) + "/" + kSocketName;
    return access(service.c_str(), F_OK) == 0 ? service : std::string("/tmp/") + kSocketName;
}

std::string socketPath(const std::string& path) {
    std::error_code error;
    return std::filesystem::is_directory(path, error) ? path + "/" + kSocketName : path;
}

Client::Client(const std::string& path) : path_(socketPath(path)) {
    connect();
}

void Client::connect() {
    int error = connectTo(path_);
    // Who may only read has a socket beside it.
    if (const std::string other = readSocketBeside(path_);
        error == EACCES && !other.empty() && connectTo(other) == 0)
        error = 0;
    if (error != 0)
        throw ConnectionError(error == EAGAIN ? "cannot connect to " + path_ + ": " + busy()
                                              : connectFailure(path_, error));
    fcntl(socket_, F_SETFL, fcntl(socket_, F_GETFL) | O_NONBLOCK);
    checkServer();
}

int Client::connectTo(const std::string& path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof(address.sun_path)) {
        throw ConnectionError("cannot connect to " + path + ": a socket's path has at most " +
                              std::to_string(sizeof(address.sun_path) - 1) + " characters");
    }
    path.copy(address.sun_path, path.size());
    socket_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (socket_ < 0)
        throw ConnectionError(std::string("cannot create a socket: ") + std::strerror(errno));
    // Bounds the wait for a daemon that has not taken earlier connections yet.
    const timeval patience = {patienceMs_ / 1000, patienceMs_ % 1000 * 1000L};
    setsockopt(socket_, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof(patience));
    if (::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0)
        return 0;
    const int error = errno;
    disconnect();
    return error;
}

void Client::checkServer() {
    struct stat directory {};
    struct stat file {};
    const std::size_t slash = path_.rfind('/');
    const std::string parent = slash == std::string::npos ? "." : path_.substr(0, slash + 1);
    if (stat(parent.c_str(), &directory) == 0 && (directory.st_mode & S_IWOTH) == 0)
        return;
    ucred server{};
    socklen_t length = sizeof server;
    const bool known = getsockopt(socket_, SOL_SOCKET, SO_PEERCRED, &server, &length) == 0;
    const bool made = lstat(path_.c_str(), &file) == 0 && S_ISSOCK(file.st_mode);
    if ((known && isTrustedUser(server.uid)) || (known && made && isTrustedUser(file.st_uid)))
        return;
    disconnect();
    throw ConnectionError(path_ + " is in a directory that everybody may write to, and user " +
                          (known ? std::to_string(server.uid) : "unknown") +
                          " serves it; allowed there are root, you, and the user mvrp: have the "
                          "daemon use a directory "
                          "of its own ($MVRP_RUNTIME_DIR)");
}

ssize_t Client::sendBytes(std::span<const std::byte> bytes) {
    const int passed = std::exchange(passing_, -1);
    if (passed < 0)
        return send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    alignas(cmsghdr) std::array<std::byte, CMSG_SPACE(sizeof passed)> control{};
    iovec part{const_cast<std::byte*>(bytes.data()), bytes.size()};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    cmsghdr* const item = CMSG_FIRSTHDR(&message);
    item->cmsg_level = SOL_SOCKET;
    item->cmsg_type = SCM_RIGHTS;
    item->cmsg_len = CMSG_LEN(sizeof passed);
    std::memcpy(CMSG_DATA(item), &passed, sizeof passed);
    const ssize_t count = sendmsg(socket_, &message, MSG_NOSIGNAL);
    if (count < 0)
        passing_ = passed;
    return count;
}

Client::~Client() {
    disconnect();
}

void Client::disconnect() {
    if (socket_ >= 0)
        close(socket_);
    socket_ = -1;
    sendBuffer_.clear();
    receiveBuffer_.clear();
    sent_ = 0;
}

Reply Client::exchange(const Request& request) {
    passing_ = request.descriptor;
    return std::move(exchange(std::span(&request, 1)).front());
}

std::vector<Reply> Client::exchange(std::span<const Request> requests) {
    std::vector<Reply> replies;
    replies.reserve(requests.size());
    queued_ = answered_ = 0;
    if (socket_ < 0)
        connect();
    while (replies.size() < requests.size()) {
        fillSendBuffer(requests);
        waitReady();
        sendSome();
        receiveSome();
        takeReplies(requests, replies);
    }
    return replies;
}

void Client::fillSendBuffer(std::span<const Request> requests) {
    if (sent_ == sendBuffer_.size()) {
        sendBuffer_.clear();
        sent_ = 0;
    }
    while (queued_ < requests.size() && queued_ - answered_ < kMaxInFlight) {
        const Request& request = requests[queued_];
        const platform::RequestHeader header = {static_cast<u32>(request.number), request.unit,
                                                request.attribute,
                                                static_cast<u32>(request.value.size())};
        append(sendBuffer_, std::as_bytes(std::span(&header, 1)));
        append(sendBuffer_, request.value);
        ++queued_;
    }
}

void Client::waitReady() {
    pollfd descriptor = {socket_, POLLIN, 0};
    if (sent_ < sendBuffer_.size())
        descriptor.events = static_cast<short>(descriptor.events | POLLOUT);
    int ready = 0;
    while ((ready = poll(&descriptor, 1, patienceMs_)) < 0)
        if (errno != EINTR)
            lost(std::strerror(errno));
    if (ready == 0)
        lost(busy());
}

void Client::sendSome() {
    const std::span rest = std::span(sendBuffer_).subspan(sent_);
    if (rest.empty())
        return;
    const ssize_t count = sendBytes(rest);
    if (count >= 0)
        sent_ += static_cast<std::size_t>(count);
    else if (errno != EAGAIN && errno != EINTR && errno != EPIPE && errno != ECONNRESET)
        lost(std::strerror(errno));
    // A closed connection is noticed by the next read, after the replies that were still under way.
}

void Client::receiveSome() {
    std::array<std::byte, kReadBytes> bytes;
    const ssize_t count = recv(socket_, bytes.data(), bytes.size(), 0);
    if (count > 0) {
        append(receiveBuffer_, std::span(bytes).first(static_cast<std::size_t>(count)));
    } else if (count == 0 || errno == ECONNRESET) {
        lost(
            "the daemon closed the connection; it does so when it ends, when it is busy with as "
            "many "
            "clients as it serves at a time (64), when a request is malformed, and to users that "
            "it "
            "does not serve (allowed are root, its own user and the members of the groups that its "
            "configuration names); its log says which");
    } else if (errno != EAGAIN && errno != EINTR) {
        lost(std::strerror(errno));
    }
}

void Client::takeReplies(std::span<const Request> requests, std::vector<Reply>& replies) {
    std::size_t used = 0;
    platform::ReplyHeader header;
    while (receiveBuffer_.size() - used >= sizeof(header) && replies.size() < requests.size()) {
        std::memcpy(&header, receiveBuffer_.data() + used, sizeof(header));
        if (header.length >
            platform::maxReplyBytes(static_cast<u32>(requests[replies.size()].number)))
            lost("the answer is not one of the command channel; is this the socket of mvrp?");
        if (receiveBuffer_.size() - used - sizeof(header) < header.length)
            break;
        const std::span value =
            std::span(receiveBuffer_).subspan(used + sizeof(header), header.length);
        replies.push_back({header.status, {value.begin(), value.end()}});
        ++answered_;
        used += sizeof(header) + header.length;
    }
    receiveBuffer_.erase(receiveBuffer_.begin(),
                         receiveBuffer_.begin() + static_cast<std::ptrdiff_t>(used));
}

std::string Client::busy() const {
    return "the daemon is busy or stopped: it has not answered for " +
           std::to_string(patienceMs_ / 1000) +
           " s; try again, allow more with --patience, and look at its log";
}

void Client::lost(const std::string& reason) const {
    throw ConnectionError("connection to " + path_ + " lost: " + reason);
}

}  // namespace cli
