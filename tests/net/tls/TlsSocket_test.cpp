#include "net/tls/TlsSocket.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <future>
#include <optional>

#include "support/bytes.h"
#include "support/sockets.h"

using namespace ns::net::tls;
using ns::net::Socket;
using ns::net::SocketConfig;
using test::failureOf;

static unsigned char byte = 'x';

// A folder with a certificate for localhost that is its own authority, its key, and a key of nobody.
struct Files {
  Files() {
    std::filesystem::create_directory(folder);
    const std::string make = "cd " + folder +
                             " && openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -keyout key"
                             " -out cert -subj /CN=x -addext subjectAltName=DNS:localhost 2>/dev/null";
    if (std::system(make.c_str()) != 0) std::abort();
  }
  ~Files() { std::filesystem::remove_all(folder); }
  const std::string folder = testing::TempDir() + "TlsSocket_test." + std::to_string(::getpid()) + "/";
};

static TlsSocketConfig trusting(const Files& files) {
  TlsSocketConfig config;
  config.serverName = "localhost";
  config.caFile = config.certFile = files.folder + "cert";
  config.keyFile = files.folder + "key";
  config.useCertificate = true;
  return config;
}

TEST(TlsSocket, CarriesDataAndTheCloseNotificationOnOneConnectionAfterTheOther) {
  const Files files;
  const TlsSocketConfig config = trusting(files);
  test::TcpPair tcp;
  TlsSocket client(5, false, config, *tcp.client);
  std::optional<TlsSocket> server;
  for (int round = 0; round != 3; ++round) {
    tcp.connect();
    server.emplace(6, true, config, *tcp.server);
    auto other = std::async(std::launch::async, [&] { server->connect(); });
    client.connect();
    other.get();
    if (round == 2) break;
    std::vector<unsigned char> sent(300'000), received(sent.size());
    for (size_t i = 0; i < sent.size(); ++i) sent[i] = static_cast<unsigned char>(i * 40503 >> 12);
    auto sender = std::async(std::launch::async, [&] {
      client.sendblock(sent.data(), test::size32(sent));
      client.close();
    });
    for (uint32_t at = 0; at != sent.size();) at += server->readsome(&received[at], test::size32(sent) - at);
    sender.get();
    EXPECT_EQ(sent, received);
    EXPECT_EQ("SSL_read() failed: TLS connection closed", failureOf<TlsError>([&] { server->readsome(&byte, 1); }));
    EXPECT_EQ("TLS handshake not complete", failureOf<TlsError>([&] { client.sendblock(&byte, 1); }));
  }
  ::shutdown(tcp.client->getHandle(), SHUT_WR);
  EXPECT_EQ("send() failed: Broken pipe", failureOf([&] { client.close(); }));
  EXPECT_EQ("TLS handshake not complete", failureOf([&] { client.readsome(&byte, 1); }));
  EXPECT_EQ("recv() failed: socket closed", failureOf([&] { server->readsome(&byte, 1); }));
}

TEST(TlsSocket, LeavesNothingOfAFailureForALaterText) {
  const test::UnixPair pair;
  Socket plain(1, {}, pair.ours);
  TlsSocketConfig config;
  config.cipherList = "A:B";
  TlsSocket socket(1, false, config, plain);
  EXPECT_EQ(
      "TLS handshake failed: SSL_CTX_set_cipher_list(A:B) failed: Unknown SSL error (error:0A0000B9:SSL routines::no "
      "cipher match)",
      failureOf<TlsError>([&] { socket.connect(); }));
  EXPECT_EQ("Unknown SSL error", socket.getSslError(0));
  EXPECT_NO_THROW(socket.close());
  EXPECT_TRUE(test::pending(pair.theirs).empty());
  EXPECT_EQ("TLS handshake not complete", failureOf<TlsError>([&] { socket.readsome(&byte, 1); }));
  EXPECT_EQ("TLS handshake not complete", failureOf<TlsError>([&] { socket.sendblock(&byte, 0); }));
}
