#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

#include "event/queue/EventQueue.h"
#include "event/queue/QueueFileReader.h"
#include "support/bytes.h"

namespace ns::event::queue {

using namespace std::string_literals;
using namespace std::string_view_literals;

static const std::string abc = "\0\0\0\3\x26"s + "abc", de = "\0\0\0\2\xc9"s + "de";
static const std::string three = "sslz" + abc + de + "\0\0\0\4\x9e"s + "fghi";

/// Files can't become longer than so many bytes, as on a full disk.
class Limit {
 public:
  explicit Limit(rlim_t most) {
    std::signal(SIGXFSZ, SIG_IGN);
    getrlimit(RLIMIT_FSIZE, &before);
    rlimit now = before;
    now.rlim_cur = most;
    setrlimit(RLIMIT_FSIZE, &now);
  }
  ~Limit() { setrlimit(RLIMIT_FSIZE, &before); }

 private:
  rlimit before{};
};

struct Persistence : testing::Test {
  Persistence() { std::filesystem::create_directory(folder); }
  ~Persistence() override { std::filesystem::remove_all(folder); }

  static void write(const std::string& path, const std::string& bytes) { std::ofstream(path) << bytes; }
  static std::string read(const std::string& path) {
    std::ifstream in(path);
    return in ? std::string(std::istreambuf_iterator<char>(in), {}) : "none";
  }
  /// All messages of the queue, a bar behind each.
  static std::string drain(EventQueue& queue) {
    std::string all;
    for (encoding::Bytes out; queue.extract(out), !out.empty(); out.clear()) all += test::text(out) + "|";
    return all;
  }
  /// What an action comes to: the failure, with F for the file's name, and the messages left in the queue.
  std::string run(EventQueue& queue, void (EventQueue::*action)(), const std::string& file) {
    errno = 0;  // the reason that is given for a file cut short
    std::string failure = test::failureOf([&] { (queue.*action)(); });
    for (size_t at; (at = failure.find(file)) != std::string::npos;) failure.replace(at, file.size(), "F");
    return drain(queue) + failure;
  }
  std::string recover(const std::string& bytes, uint64_t size = 1000) {
    write(filename, bytes);
    EventQueue queue({size, true, filename});
    const std::string outcome = run(queue, &EventQueue::recover, filename);
    return outcome + (read(filename) == "none" ? " gone" : read(filename) == bytes ? " kept" : " changed");
  }
  /// What recover() must say, told from the form of the file.
  static std::string expected(const std::string& file) {
    std::string all = "Read magic header from F failed: ";
    if (file.size() < 4) return all + "Success kept";
    if (file.substr(0, 4) != "sslz") return all + "Expected 'sslz' but got " + file.substr(0, 4) + " kept";
    all.clear();
    for (size_t at = 4, length; file.size() - at >= 5; at += 5 + length) {
      const auto byte = [&](size_t i) { return static_cast<unsigned char>(file[at + i]); };
      length = size_t{byte(0)} << 24 | size_t{byte(1)} << 16 | size_t{byte(2)} << 8 | byte(3);
      const std::string failure = all + "Read next event of " + std::to_string(length) + " bytes from F failed: ";
      if (length == 0 || length > file.size() - at - 5) return failure + "Success kept";
      unsigned char sum = 0;
      for (size_t i = 0; i < length; ++i) sum = static_cast<unsigned char>(sum + byte(5 + i));
      const std::string sums = std::to_string(sum) + " but got " + std::to_string(byte(4));
      if (sum != byte(4)) return failure + "Expected checksum " + sums + " kept";
      all += file.substr(at + 5, length) + "|";
    }
    return all + " gone";
  }

  const std::string folder = testing::TempDir() + "wirelark-queue-" + std::to_string(getpid());
  const std::string filename = folder + "/queue";
};

TEST_F(Persistence, JudgesEveryCutAndEveryChangedByte) {
  for (size_t i = 0; i <= three.size(); ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(expected(three.substr(0, i)), recover(three.substr(0, i)));
    for (int bit = 1; bit < 256 && i < three.size(); bit *= 2) {
      std::string changed = three;
      changed[i] = static_cast<char>(changed[i] ^ bit);
      EXPECT_EQ(expected(changed), recover(changed)) << "bit " << bit;
    }
  }
  EXPECT_EQ("cab| gone", recover("sslz" + abc.substr(0, 5) + "cab")) << "the checksum does not see places";
  EXPECT_EQ("de|fghi| gone", recover(three, 12));
  EXPECT_EQ("de|value length 4 is larger than the size of the queue 6 kept", recover(three, 6));
}

TEST_F(Persistence, SavesOldestFirstUpToAnEmptyMessage) {
  const std::string lanes = "\xff" + std::string(299, '\xfe');  // 1 + 300 * 254 is 169 modulo 256
  EventQueue queue({1000, true, filename}), off({1000, false, filename}), next({1000, true, filename});
  for (const auto& m : {"abc"s, "de"s, lanes, ""s, "x"s}) queue.append(test::bytes(m).data(), m.size());
  write(filename, "the one before");
  write(filename + ".tmp", "left by a crash");
  EXPECT_EQ("x|", run(queue, &EventQueue::persist, filename));
  off.persist(), off.recover();
  EXPECT_EQ("sslz" + abc + de + "\0\0\1\x2c\xa9"s + lanes, read(filename));
  EXPECT_EQ("none", read(filename + ".tmp"));
  next.recover();
  EXPECT_EQ("abc|de|" + lanes + "|", drain(next));
}

TEST_F(Persistence, NamesWhatFailedAndLeavesTheRightFiles) {
  std::filesystem::create_directories(folder + "/taken/x");
  std::filesystem::create_directory(folder + "/empty");
  write(folder + "/linked", "another's");
  std::filesystem::create_symlink(folder + "/linked", folder + "/link.tmp");
  write(folder + "/full", "old");
  write(filename, three);
  const std::unique_ptr<FILE, int (*)(FILE*)> open(std::fopen(filename.c_str(), "rb"), std::fclose);
  const std::string unremovable = "/proc/self/fd/" + std::to_string(fileno(open.get()));
  ASSERT_EQ(0, mkfifo((folder + "/pipe").c_str(), 0600));
  std::thread writer([this] { write(folder + "/pipe", three); });
  const std::string big(100000, 'x');  // more than a stream buffers
  const auto load = &EventQueue::recover, save = &EventQueue::persist;
  const std::tuple<const char*, std::string, void (EventQueue::*)(), std::string, std::string> cases[] = {
      {"no file", folder + "/none", load, "|", "none"},
      {"a pipe", folder + "/pipe", load, "|abc|de|fghi|", "none"},
      {"no way to look", filename + "/x", load, "|stat64(F) failed: Not a directory", "none"},
      {"a folder", folder, load, "|Read magic header from F failed: Is a directory", "none"},
      {"not to be removed", unremovable, load, "|abc|de|fghi|Remove F failed: Operation not permitted", "none"},
      {"no folder", folder + "/none/x", save, "|Open F.tmp failed: No such file or directory", "none"},
      {"disk full", folder + "/full", save, "Write next event to F.tmp failed: File too large", "none"},
      {"not through a link", folder + "/link", save, "", "none"},
      {"old goes first", folder + "/empty", save, "", "none"},  // a file can't be renamed over a folder
      {"name taken", folder + "/taken", save, "Rename F.tmp to F failed: Is a directory", "sslz\0\1\x86\xa0\0"s + big},
  };
  for (const auto& [name, file, action, outcome, temporary] : cases) {
    SCOPED_TRACE(name);
    const Limit limit(name == "disk full"sv ? 5000 : RLIM_INFINITY);
    EventQueue queue({200000, true, file});
    queue.append(test::bytes(big).data(), big.size());
    EXPECT_EQ((outcome[0] == '|' ? big : "") + outcome, run(queue, action, file));
    EXPECT_EQ(temporary, read(file + ".tmp"));
  }
  writer.join();
  EXPECT_EQ("old another's", read(folder + "/full") + " " + read(folder + "/linked"));
  const Limit limit(5);
  EventQueue small({100, true, folder + "/late"});
  small.append(test::bytes("a").data(), 1);
  EXPECT_EQ("", run(small, &EventQueue::persist, folder + "/late")) << "the close, where this shows, is not looked at";
}

TEST_F(Persistence, TellsAReadErrorFromTheEnd) {
  struct sigaction interrupt {};  // without SA_RESTART, so that a blocked read fails
  interrupt.sa_handler = [](int) {};
  ASSERT_EQ(0, sigaction(SIGUSR1, &interrupt, nullptr));
  ASSERT_EQ(0, mkfifo(filename.c_str(), 0600));
  std::atomic<bool> done{false};
  std::thread writer([&, reader = pthread_self()] {
    std::ofstream pipe(filename);
    for (pipe << three.substr(0, 12) << std::flush; !done; std::this_thread::yield()) pthread_kill(reader, SIGUSR1);
  });
  EventQueue queue({100, true, filename});
  EXPECT_EQ("abc|Read next length of 4 bytes from F failed: Interrupted system call",
            run(queue, &EventQueue::recover, filename));
  done = true;
  writer.join();
}

TEST_F(Persistence, ReaderGoesOnBehindAWrongChecksumAndNeverBelievesALength) {
  write(filename, "sslz" + abc.substr(0, 4) + "'abc" + de + "\xff\xff\xff\xff\0xyz"s);
  QueueFileReader reader(filename);
  encoding::Bytes payload;
  EXPECT_NE("", test::failureOf<QueueError>([&] { reader.read(payload); }));
  EXPECT_TRUE(reader.isAtRecord() && reader.getOffset() == 4 && test::text(payload) == "abc");
  EXPECT_TRUE(reader.read(payload) && reader.getOffset() == 12 && test::text(payload) == "de");
  EXPECT_NE("", test::failureOf<QueueError>([&] { reader.read(payload); }));
  EXPECT_TRUE(!reader.isAtRecord() && reader.getOffset() == 19 && test::text(payload) == "xyz");
  EXPECT_LT(payload.capacity(), 2u << 20);
  write(filename, three + "\0\0"s);
  QueueFileReader cut(filename);
  while (cut.read(payload)) {}
  EXPECT_TRUE(cut.getTrailing() == 2 && cut.getOffset() == three.size());
}

}  // namespace ns::event::queue
