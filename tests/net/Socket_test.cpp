#include "net/Socket.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <linux/sockios.h>
#include <netinet/tcp.h>
#include <sys/resource.h>
#include <sys/time.h>

#include <chrono>
#include <csignal>

#include "support/bytes.h"
#include "support/sockets.h"

using ns::net::Socket;
using ns::net::SocketConfig;
using test::failureOf;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

// Stands in for the resolver: "two.test" has the addresses 127.0.0.2 and 127.0.0.1, and no other name is known.
extern "C" int getaddrinfo(const char* name, const char* service, const addrinfo* hints, addrinfo** results) {
  static const auto next = reinterpret_cast<decltype(&getaddrinfo)>(::dlsym(RTLD_NEXT, "getaddrinfo"));
  if (name != std::string_view("two.test")) return EAI_NONAME;
  const int result = next("127.0.0.2", service, hints, results);
  return result != 0 ? result : next("127.0.0.1", service, hints, &(*results)->ai_next);
}

static std::vector<unsigned char> bytes(1 << 20, 'x');

TEST(Socket, NamesWhatEndsAConnectionAndTimesOutAfterWholeSeconds) {
  const auto read = [](Socket& socket) { socket.readsome(bytes.data(), 1); };
  const auto send = [](Socket& socket) { socket.sendblock(bytes.data(), test::size32(bytes)); };
  const auto none = [](Socket& socket) { socket.sendblock(bytes.data(), 0); };
  const auto idle = [](int) {};
  const auto gone = [](int handle) { ::shutdown(handle, SHUT_RDWR); };
  const auto ahead = [](int handle) { test::put(handle, {1, 2}); };
  const auto alarm = [](int) {
    std::signal(SIGALRM, [](int) {});
    const itimerval soon{{0, 0}, {0, 50000}};
    ::setitimer(ITIMER_REAL, &soon, nullptr);
  };
  // A handle of 0 stands for that of the pair.
  const std::tuple<void (*)(Socket&), void (*)(int), uint32_t, int, std::string> cases[] = {
      {read, idle, 1, 0, "recv() failed: wait() timed out"},
      {read, ahead, 0, 0, "recv() failed: wait() timed out"},
      {send, idle, 1, 0, "send() failed: wait() timed out"},
      {send, ahead, 0, 0, "send() failed: wait() timed out"},
      {none, gone, 0, 0, ""},
      {read, gone, 1, 0, "recv() failed: socket closed"},
      {send, gone, 1, 0, "send() failed: Broken pipe"},
      {read, alarm, 1, 0, "select() failed: Interrupted system call"},
      {read, gone, 1, -1, "select() failed: Bad file descriptor"},
      {send, gone, 1, 999, "select() failed: Bad file descriptor"},
  };
  for (const auto& [action, peer, timeout, handle, failure] : cases) {
    SCOPED_TRACE(failure);
    const test::UnixPair pair;
    SocketConfig config;
    config.readTimeout = config.writeTimeout = timeout;
    Socket socket(1, config, pair.ours), other(1, config, handle);
    peer(pair.theirs);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(failure, failureOf([act = action, &used = handle != 0 ? other : socket] { act(used); }));
    const bool waited = std::chrono::steady_clock::now() - start >= std::chrono::seconds(1);
    EXPECT_EQ(timeout != 0 && failure.ends_with("timed out"), waited);
    EXPECT_EQ(peer == +ahead ? 2U : 0U, socket.readsize());
    EXPECT_TRUE(timeout != 0 || test::pending(pair.theirs).empty());
  }
}

TEST(Socket, SetsUpBothEndsAndKnowsItsPeer) {
  for (const bool ipv6 : {false, true}) {
    SocketConfig config;
    config.recvBufferSize = 9000;
    config.useIpv6 = ipv6;
    config.host = ipv6 ? "::1" : config.host;
    test::TcpPair pair(config);
    for (const int handle : {pair.client->getHandle(), pair.server->getHandle()}) {
      int noDelay = 0, size = 0;
      socklen_t length = sizeof(int);
      ::getsockopt(handle, IPPROTO_TCP, TCP_NODELAY, &noDelay, &length);
      ::getsockopt(handle, SOL_SOCKET, SO_RCVBUF, &size, &length);  // doubled by the kernel, socket(7)
      EXPECT_EQ(std::tuple(1, 18000, O_NONBLOCK), std::tuple(noDelay, size, ::fcntl(handle, F_GETFL) & O_NONBLOCK));
    }
    EXPECT_EQ(0U, pair.server->getId());
    pair.connect();
    EXPECT_EQ(1U, pair.server->getId());
    pair.connect([](uint32_t id) { return id == 2 || id == 3; });
    EXPECT_EQ(4U, pair.server->getId()) << "an id in use is passed over";
    EXPECT_EQ(nullptr, pair.listener->accept());
    EXPECT_EQ("accept() failed: Invalid argument", failureOf([&] { pair.client->accept(); }));
    const auto peer = pair.client->getRemoteEndpoint();
    EXPECT_EQ(std::tuple(false, ipv6, config.host, htons(pair.config.port)),
              std::tuple(peer.isUnix, peer.isIpv6, peer.address, peer.port));
    pair.client->close();
    EXPECT_NE("", failureOf([&] { pair.client->getRemoteEndpoint(); }));
  }
  const test::UnixPair pair;
  const auto peer = Socket(1, {}, pair.ours).getRemoteEndpoint();
  EXPECT_EQ(std::tuple(true, ::getuid(), ::getgid(), ::getpid()),
            std::tuple(peer.isUnix, peer.uid, peer.gid, peer.pid));
}

TEST(Socket, ConnectsToAPath) {
  SocketConfig config;
  config.path = testing::TempDir() + "Socket_test." + std::to_string(::getpid());
  config.group = ::getgrgid(::getgid())->gr_name;
  Socket listener(7, config), client(8, config);
  CaptureStdout();
  listener.listen();
  client.connect();
  EXPECT_EQ("[INFO] Socket[7]: Listening on " + config.path + "\n[INFO] Socket[8]: Connected to " + config.path + "\n",
            GetCapturedStdout());
  ::unlink(config.path.c_str());
}

TEST(Socket, ConnectsByLiteralAndByName) {
  const test::TcpPair pair, gone;
  gone.listener->close();
  const uint16_t open = pair.config.port, shut = gone.config.port;
  const std::string connected = "[INFO] Socket[4]: Connected to 127.0.0.1",
                    refused = " failed: connect() failed: Connection refused\n";
  const std::string second = "[WARN] Socket[4]: Connect to 127.0.0.2:",
                    last = "[WARN] Socket[4]: Connect to 127.0.0.1:";
  const std::string to = std::to_string(open) + refused, none = std::to_string(shut) + refused;
  // The last: a failure may leave the socket half-way open, and then a second attempt does nothing.
  const std::tuple<const char*, uint16_t, uint32_t, std::string, std::string, bool> cases[] = {
      {"127.0.0.1", open, 3, "", connected + ":" + std::to_string(open) + "\n", true},
      {"127.0.0.1", shut, 3, "connect() failed: Connection refused", "", true},
      {"127.0.0.1", open, 0, "connect() failed: wait() timed out", "", true},
      {"::1", open, 3, "Parse IPv4 address failed: Success", "", false},
      {"none.test", 1, 3, "getaddrinfo(none.test/A) failed: Name or service not known", "", false},
      {"two.test", open, 3, "", second + to + connected + "\n", true},
      {"two.test", shut, 3, "Failed to connect to any host", second + none + last + none, false},
  };
  for (const auto& [host, port, timeout, failure, log, half] : cases) {
    SCOPED_TRACE(host + failure);
    SocketConfig config = pair.config;
    config.host = host, config.port = port, config.connectTimeout = timeout;
    Socket socket(4, config);
    CaptureStdout();
    EXPECT_EQ(failure, failureOf([&] { socket.connect(); }));
    EXPECT_EQ(log, GetCapturedStdout());
    EXPECT_EQ(half, socket.isConnected());
    EXPECT_EQ("", half ? failureOf([&] { socket.connect(); }) : "");
  }
}

TEST(Socket, WaitsOnDescriptorsAbove1023AndNeverUsesZero) {
  rlimit limit{};
  ::getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = std::max<rlim_t>(limit.rlim_cur, 2000);
  ASSERT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &limit));
  test::TcpPair pair;
  Socket high(1, pair.config, ::fcntl(pair.server->getHandle(), F_DUPFD, 1500)), next(3, pair.config);
  EXPECT_FALSE(high.wait(false, 1));
  EXPECT_TRUE(high.wait(true, 1));

  next.connect();
  pair.listener->wait(true, 1);
  const int input = ::dup(0);
  ::close(0);
  EXPECT_LT(0, pair.listener->accept()->getHandle());
  EXPECT_EQ(-1, ::fcntl(0, F_GETFD));
  pair.client->close();
  errno = 0;
  EXPECT_EQ("socket() failed: Success", failureOf([&] { pair.client->connect(); }));
  EXPECT_FALSE(pair.client->isConnected());
  EXPECT_EQ("", failureOf([&] { pair.client->connect(); }));
  ::dup2(input, 0);
  ::close(input);
}

TEST(Socket, HoldsBackOnRequest) {
  const test::TcpPair pair;
  const auto unsent = [&](int size = -1) { return ::ioctl(pair.client->getHandle(), SIOCOUTQNSD, &size), size; };
  pair.client->sendblock(bytes.data(), 10, true);
  EXPECT_EQ(10, unsent());
  pair.client->push();
  EXPECT_EQ(0, unsent());
}
