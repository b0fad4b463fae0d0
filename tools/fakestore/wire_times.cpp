#include "tools/fakestore/wire_times.h"

#include <arpa/inet.h>
#include <httplib.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

namespace tovra::fakestore {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;

thread_local RequestTimes current;

WallInstant wallOf(const timespec& stamp) {
  return WallInstant(std::chrono::duration_cast<WallInstant::duration>(std::chrono::seconds{stamp.tv_sec} +
                                                                       std::chrono::nanoseconds{stamp.tv_nsec}));
}

int pollOne(int fd, short events, milliseconds timeout) {
  pollfd watched{fd, events, 0};
  int ready = 0;
  do {
    ready = ::poll(&watched, 1, static_cast<int>(timeout.count()));
  } while (ready < 0 && errno == EINTR);
  return ready;
}

void enableReceiveStamps(int sock) {
  const int on = 1;
  ::setsockopt(sock, SOL_SOCKET, SO_TIMESTAMPNS, &on, sizeof on);
}

// The listening thread hands each connection to the pool right after accept() returns, so the moment
// of handing over is the accept time; the pool thread that serves the connection keeps it.
class AcceptStampingQueue final : public httplib::TaskQueue {
 public:
  explicit AcceptStampingQueue(std::size_t threads) : pool_(threads) {}

  void enqueue(std::function<void()> work) override {
    const auto accepted = std::chrono::system_clock::now();
    pool_.enqueue([accepted, work = std::move(work)] {
      current = RequestTimes{accepted, std::nullopt, std::nullopt};
      work();
      current = {};
    });
  }
  void shutdown() override { pool_.shutdown(); }
  void on_idle() override { pool_.on_idle(); }

 private:
  httplib::ThreadPool pool_;
};

// httplib's reading and writing over one connection, with each request's first byte peeked through
// recvmsg so it comes with the kernel's receive stamp.
class WireStream final : public httplib::Stream {
 public:
  WireStream(int sock, milliseconds readTimeout, milliseconds writeTimeout)
      : sock_(sock), readTimeout_(readTimeout), writeTimeout_(writeTimeout) {}

  bool buffered() const { return begin_ < end_; }

  void startRequest() {
    current.firstByte.reset();
    current.firstByteRead.reset();
    awaitingFirstByte_ = !buffered();
    if (!awaitingFirstByte_) {
      // A request sent right behind the previous one, already read with it: when it reached the kernel
      // is not known apart from its predecessor.
      current.firstByteRead = std::chrono::system_clock::now();
    }
  }

  bool is_readable() const override { return buffered() || pollOne(sock_, POLLIN, readTimeout_) > 0; }
  bool is_writable() const override { return pollOne(sock_, POLLOUT, writeTimeout_) > 0; }

  ssize_t read(char* ptr, size_t size) override {
    if (!buffered()) {
      if (!is_readable()) {
        return -1;
      }
      if (awaitingFirstByte_) {
        stampFirstByte();
      }
      ssize_t got = 0;
      do {
        got = ::recv(sock_, buffer_.data(), buffer_.size(), 0);
      } while (got < 0 && errno == EINTR);
      if (got <= 0) {
        return got;
      }
      begin_ = 0;
      end_ = static_cast<std::size_t>(got);
    }
    const std::size_t count = std::min(size, end_ - begin_);
    std::memcpy(ptr, buffer_.data() + begin_, count);
    begin_ += count;
    return static_cast<ssize_t>(count);
  }

  ssize_t write(const char* ptr, size_t size) override {
    if (!is_writable()) {
      return -1;
    }
    ssize_t sent = 0;
    do {
      sent = ::send(sock_, ptr, size, MSG_NOSIGNAL);
    } while (sent < 0 && errno == EINTR);
    return sent;
  }

  void get_remote_ip_and_port(std::string& ip, int& port) const override { address(true, ip, port); }
  void get_local_ip_and_port(std::string& ip, int& port) const override { address(false, ip, port); }
  socket_t socket() const override { return sock_; }

 private:
  void stampFirstByte() {
    awaitingFirstByte_ = false;
    char byte = 0;
    iovec part{&byte, 1};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(timespec))> control{};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    ssize_t got = 0;
    do {
      got = ::recvmsg(sock_, &message, MSG_PEEK);
    } while (got < 0 && errno == EINTR);
    current.firstByteRead = std::chrono::system_clock::now();
    if (got != 1) {
      return;
    }
    for (cmsghdr* item = CMSG_FIRSTHDR(&message); item != nullptr; item = CMSG_NXTHDR(&message, item)) {
      if (item->cmsg_level == SOL_SOCKET && item->cmsg_type == SCM_TIMESTAMPNS) {
        timespec stamp{};
        std::memcpy(&stamp, CMSG_DATA(item), sizeof stamp);
        current.firstByte = wallOf(stamp);
      }
    }
  }

  void address(bool peer, std::string& ip, int& port) const {
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    auto* raw = reinterpret_cast<sockaddr*>(&address);
    if ((peer ? ::getpeername(sock_, raw, &length) : ::getsockname(sock_, raw, &length)) != 0) {
      return;
    }
    std::array<char, INET6_ADDRSTRLEN> text{};
    if (address.ss_family == AF_INET) {
      const auto* v4 = reinterpret_cast<const sockaddr_in*>(&address);
      ::inet_ntop(AF_INET, &v4->sin_addr, text.data(), text.size());
      port = ntohs(v4->sin_port);
    } else if (address.ss_family == AF_INET6) {
      const auto* v6 = reinterpret_cast<const sockaddr_in6*>(&address);
      ::inet_ntop(AF_INET6, &v6->sin6_addr, text.data(), text.size());
      port = ntohs(v6->sin6_port);
    }
    ip = text.data();
  }

  int sock_;
  milliseconds readTimeout_;
  milliseconds writeTimeout_;
  std::array<char, 4096> buffer_{};
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  bool awaitingFirstByte_ = false;
};

class WireTimedServer final : public httplib::Server {
 public:
  WireTimedServer() {
    stampAccepts(*this);
    // Set on the listening socket, the flag passes to every accepted one, and the kernel stamps what it
    // receives from before the first connection.
    set_socket_options([](socket_t sock) {
      httplib::default_socket_options(sock);
      enableReceiveStamps(sock);
    });
  }

 private:
  // httplib's keep-alive loop, reading through a WireStream.
  bool process_and_close_socket(socket_t sock) override {
    enableReceiveStamps(sock);
    const auto timeout = [](time_t seconds, time_t micros) {
      return std::chrono::duration_cast<milliseconds>(std::chrono::seconds{seconds} + microseconds{micros});
    };
    WireStream stream(sock, timeout(read_timeout_sec_, read_timeout_usec_),
                      timeout(write_timeout_sec_, write_timeout_usec_));
    bool served = true;
    for (auto left = keep_alive_max_count_; left > 0; --left) {
      if (!stream.buffered() && !awaitRequest(sock)) {
        break;
      }
      stream.startRequest();
      bool closed = false;
      served = process_request(stream, left == 1, closed, nullptr);
      if (!served || closed) {
        break;
      }
    }
    ::shutdown(sock, SHUT_RDWR);
    ::close(sock);
    return served;
  }

  // Waits for the next request of a kept-alive connection, giving up when the server stops.
  bool awaitRequest(int sock) const {
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds{keep_alive_timeout_sec_};
    while (svr_sock_ != INVALID_SOCKET) {
      const int ready = pollOne(sock, POLLIN, milliseconds{50});
      if (ready != 0) {
        return ready > 0;
      }
      if (std::chrono::steady_clock::now() >= until) {
        return false;
      }
    }
    return false;
  }
};

}  // namespace

RequestTimes currentRequestTimes() {
  return current;
}

std::unique_ptr<httplib::Server> makeWireTimedServer() {
  return std::make_unique<WireTimedServer>();
}

void stampAccepts(httplib::Server& server) {
  server.new_task_queue = [] { return new AcceptStampingQueue(CPPHTTPLIB_THREAD_POOL_COUNT); };
}

}  // namespace tovra::fakestore
