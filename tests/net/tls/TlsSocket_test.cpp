#include "net/tls/TlsSocket.h"

#include <gtest/gtest.h>

#include "support/bytes.h"
#include "support/sockets.h"

using namespace ns::net::tls;
using test::failureOf;

TEST(TlsSocket, LeavesNothingOfAFailureForALaterText) {
  const test::UnixPair pair;
  unsigned char byte = 'x';
  ns::net::Socket plain(1, {}, pair.ours);
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
