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
                             " -out cert -subj /CN=x -addext subjectAltName=DNS:localhost 2>/dev/null"
                             " && openssl ecparam -name prime256v1 -genkey -noout -out other";
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

// Both ends of a connection after their handshake, which takes a thread for each.
struct TlsPair {
  TlsPair(const TlsSocketConfig& clientConfig, const TlsSocketConfig& serverConfig)
      : client(5, false, clientConfig, *tcp.client), settings(serverConfig) {
    handshake();
  }
  void handshake() {
    server.emplace(6, true, settings, *tcp.server);
    auto other = std::async(std::launch::async, [&] { return failureOf<TlsError>([&] { server->connect(); }); });
    clientFailure = failureOf<TlsError>([&] { client.connect(); });
    serverFailure = other.get();
  }
  test::TcpPair tcp;
  TlsSocket client;
  TlsSocketConfig settings;
  std::optional<TlsSocket> server;
  std::string clientFailure, serverFailure;
};

TEST(TlsSocket, VerifiesThePeerUnlessToldNotTo) {
  const Files files;
  const std::string failed = "TLS handshake failed: SSL_do_handshake() failed: SSL_get_error=1 (error:0A000";
  const std::string refused = failed + "086:SSL routines::certificate verify failed)";
  const struct {
    const char* name;
    void (*change)(TlsSocketConfig& client, TlsSocketConfig& server);
    std::string clientFailure, serverFailure;
  } cases[] = {
      {"both verify", [](auto&, auto&) {}, "", ""},
      {"wrong name", [](auto& client, auto&) { client.serverName = "127.0.0.1"; }, refused,
       failed + "412:SSL routines::sslv3 alert bad certificate)"},
      {"nothing verified", [](auto& client, auto& server) { client.validate = server.validate = false; }, "", ""},
      {"no name to verify", [](auto& client, auto&) { client.serverName = ""; }, "", ""},
      {"unknown authority", [](auto& client, auto&) { client.caFile = ""; }, refused,
       failed + "418:SSL routines::tlsv1 alert unknown ca)"},
      {"no client certificate",  // a client of 1.3 is done before it hears of the refusal
       [](auto& client, auto&) { client.useCertificate = false, client.certFile = "/no", client.maxVersion = "1.2"; },
       failed + "410:SSL routines::sslv3 alert handshake failure)",
       failed + "0C7:SSL routines::peer did not return a certificate)"},
      {"no common version", [](auto& client, auto& server) { client.minVersion = "1.3", server.maxVersion = "1.2"; },
       failed + "42E:SSL routines::tlsv1 alert protocol version)", failed + "102:SSL routines::unsupported protocol)"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    TlsSocketConfig client = trusting(files), server = trusting(files);
    c.change(client, server);
    const TlsPair pair(client, server);
    EXPECT_EQ(c.clientFailure, pair.clientFailure);
    EXPECT_EQ(c.serverFailure, pair.serverFailure);
  }
}

TEST(TlsSocket, EndsAHandshakeThatCannotWork) {
  const Files files;
  const std::string enoent = "error:80000002:system library::No such file or directory; error:10";
  const std::string unreadable = enoent + "080002:BIO routines::system lib; error:0A080002:SSL routines::system lib)";
  const std::string noCipher = " failed: Unknown SSL error (error:0A0000B9:SSL routines::no cipher match)";
  const std::string unknown = " failed: Unknown SSL error", because = unknown + " (";
  const std::string otherKey = files.folder + "other", hello = "00000000 00000022 00000004";
  const struct {
    std::string TlsSocketConfig::*setting;
    std::string value, peer, failure;  // the peer sends these bytes and no more; with "wait" it says nothing at all
  } cases[] = {
      {&TlsSocketConfig::minVersion, "1.1", "", "Parse minimum TLS version" + unknown},
      {&TlsSocketConfig::maxVersion, "2", "", "Parse maximum TLS version" + unknown},
      {&TlsSocketConfig::cipherList, "A:B", "", "SSL_CTX_set_cipher_list(A:B)" + noCipher},
      {&TlsSocketConfig::cipherSuites, "C", "", "SSL_CTX_set_ciphersuites(C)" + noCipher},
      {&TlsSocketConfig::certFile, "/no", "", "SSL_CTX_use_certificate_chain_file(/no)" + because + unreadable},
      {&TlsSocketConfig::keyFile, "/no", "", "SSL_CTX_use_PrivateKey_file(/no)" + because + unreadable},
      {&TlsSocketConfig::keyFile, otherKey, "",
       "SSL_CTX_use_PrivateKey_file(" + otherKey + ")" + because +
           "error:05800074:x509 certificate routines::key values mismatch)"},
      {&TlsSocketConfig::caFile, "/no", "",
       "SSL_CTX_load_verify_locations(/no)" + because + enoent +
           "000080:BIO routines::no such file; error:05880002:x509 certificate routines::system lib)"},
      {&TlsSocketConfig::serverName, "a", "wait", "TLS read failed: wait() timed out"},
      {&TlsSocketConfig::serverName, "a", "", "recv() failed: socket closed"},
      {&TlsSocketConfig::serverName, "a", hello,
       "SSL_do_handshake() failed: SSL_get_error=1 (error:0A00010B:SSL routines::wrong version number)"},
  };
  for (const auto& c : cases) {
    const test::UnixPair pair;
    SocketConfig impatient;
    impatient.readTimeout = 1;
    Socket plain(1, impatient, pair.ours);
    TlsSocketConfig config = trusting(files);
    config.*c.setting = c.value;
    TlsSocket socket(1, false, config, plain);
    if (c.peer != "wait") {
      test::put(pair.theirs, test::unhex(c.peer));
      ::shutdown(pair.theirs, SHUT_WR);
    }
    EXPECT_EQ("TLS handshake failed: " + c.failure, failureOf<TlsError>([&] { socket.connect(); }));
    EXPECT_EQ("Unknown SSL error", socket.getSslError(0)) << "nothing is left for a later text";
    test::pending(pair.theirs);
    EXPECT_NO_THROW(socket.close());
    EXPECT_TRUE(test::pending(pair.theirs).empty());
    EXPECT_EQ("TLS handshake not complete", failureOf<TlsError>([&] { socket.readsome(&byte, 1); }));
    EXPECT_EQ("TLS handshake not complete", failureOf<TlsError>([&] { socket.sendblock(&byte, 0); }));
  }
}

TEST(TlsSocket, CarriesDataAndTheCloseNotificationOnOneConnectionAfterTheOther) {
  const Files files;
  TlsPair pair(trusting(files), trusting(files));
  for (int round = 0; round != 2; ++round) {
    std::vector<unsigned char> sent(300'000), received(sent.size());
    for (size_t i = 0; i < sent.size(); ++i) sent[i] = static_cast<unsigned char>(i * 40503 >> 12);
    auto sender = std::async(std::launch::async, [&] {
      pair.client.sendblock(sent.data(), test::size32(sent));
      pair.client.close();
    });
    for (uint32_t at = 0; at != sent.size();) at += pair.server->readsome(&received[at], test::size32(sent) - at);
    sender.get();
    EXPECT_EQ(sent, received);
    const char* const closed = "SSL_read() failed: TLS connection closed";
    EXPECT_EQ(closed, failureOf<TlsError>([&] { pair.server->readsome(&byte, 1); }));
    EXPECT_EQ("TLS handshake not complete", failureOf<TlsError>([&] { pair.client.sendblock(&byte, 1); }));
    pair.tcp.connect();
    pair.handshake();
  }
  ::shutdown(pair.tcp.client->getHandle(), SHUT_WR);
  EXPECT_EQ("send() failed: Broken pipe", test::failureOf([&] { pair.client.close(); }));
  EXPECT_EQ("TLS handshake not complete", test::failureOf([&] { pair.client.readsome(&byte, 1); }));
  EXPECT_EQ("recv() failed: socket closed", test::failureOf([&] { pair.server->readsome(&byte, 1); }));
}
