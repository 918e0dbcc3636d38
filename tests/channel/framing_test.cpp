// Frames and descriptor passing over real Unix socket pairs, byte for byte.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include "channel/framing.h"
#include "channel/payload.h"
#include "jni/fd.h"
#include "support/descriptor_message.h"
#include "support/sandbox.h"

namespace {

using kelp::UniqueFd;

struct SocketPair {
  SocketPair() {
    int fds[2];
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds), 0);
    a.reset(fds[0]);
    b.reset(fds[1]);
  }
  UniqueFd a, b;
};

std::vector<unsigned char> read_available(int fd, size_t n) {
  std::vector<unsigned char> out(n);
  EXPECT_EQ(::read(fd, out.data(), n), static_cast<ssize_t>(n));
  return out;
}

void write_raw(int fd, const std::vector<unsigned char>& bytes) {
  ASSERT_EQ(::write(fd, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
}

TEST(Framing, RequestsTravelAsTypeLengthPayload) {
  SocketPair s;
  // 'm' with "/a" and mode 0644: the integer is big-endian.
  ASSERT_TRUE(kelp::Payload().str("/a").i32(0644).send(s.a.get(), kelp::kMsgMkdirs));
  EXPECT_EQ(read_available(s.b.get(), 12),
            (std::vector<unsigned char>{'m', 0, 0, 0, 7, '/', 'a', 0, 0x00, 0x00, 0x01, 0xA4}));

  // Negative integers are two's complement; empty strings are one NUL.
  ASSERT_TRUE(kelp::Payload().str("").i32(-17).send(s.a.get(), kelp::kMsgChown));
  EXPECT_EQ(read_available(s.b.get(), 10),
            (std::vector<unsigned char>{'n', 0, 0, 0, 5, 0, 0xFF, 0xFF, 0xFF, 0xEF}));

  // 'q' carries nothing: five bytes.
  ASSERT_TRUE(kelp::send_message(s.a.get(), kelp::kMsgQuit, nullptr, 0));
  EXPECT_EQ(read_available(s.b.get(), 5), (std::vector<unsigned char>{'q', 0, 0, 0, 0}));

  char b[4];
  kelp::serialize_int(b, 420);
  EXPECT_EQ(std::memcmp(b, "\x00\x00\x01\xA4", 4), 0);
  EXPECT_EQ(kelp::deserialize_int(b), 420);
  kelp::serialize_int(b, -2);
  EXPECT_EQ(kelp::deserialize_int(b), -2);
  kelp::serialize_short(b, static_cast<short>(0x1234));
  EXPECT_EQ(std::memcmp(b, "\x12\x34", 2), 0);
  EXPECT_EQ(kelp::deserialize_short(b), 0x1234);
  kelp::serialize_short(b, -3);
  EXPECT_EQ(kelp::deserialize_short(b), -3);
}

TEST(Framing, RepliesAreReceivedWithinTheCallersBuffer) {
  SocketPair s;
  char type = 0;
  // Zero-length frame, with and without a buffer.
  write_raw(s.b.get(), {'q', 0, 0, 0, 0});
  EXPECT_EQ(kelp::recv_message(s.a.get(), &type, nullptr, 0), 0);
  EXPECT_EQ(type, 'q');
  write_raw(s.b.get(), {'q', 0, 0, 0, 0});
  char one = 'x';
  EXPECT_EQ(kelp::recv_message(s.a.get(), &type, &one, 1), 0);
  EXPECT_EQ(one, 'x');

  // A reply of another type fails the expectation but has filled the buffer.
  write_raw(s.b.get(), {'e', 0, 0, 0, 1, 0x01});
  one = 0;
  EXPECT_FALSE(kelp::expect_message(s.a.get(), 'd', &one, 1));
  EXPECT_EQ(one, 1);
  write_raw(s.b.get(), {'d', 0, 0, 0, 1, 0x02});
  EXPECT_TRUE(kelp::expect_message(s.a.get(), 'd', &one, 1));
  EXPECT_EQ(one, 2);

  // A reply longer than the buffer is a failure and writes nothing.
  write_raw(s.b.get(), {'y', 0, 0, 0, 3, 'a', 'b', 0});
  char guard[4] = {'G', 'G', 'G', 'G'};
  EXPECT_EQ(kelp::recv_message(s.a.get(), &type, guard, 2), -1);
  EXPECT_EQ(std::string(guard, 4), "GGGG");
}

TEST(Framing, BrokenFramesFail) {
  char type;
  char buf[16];
  {
    SocketPair s;  // header cut short
    write_raw(s.b.get(), {'e', 0, 0});
    s.b.reset();
    EXPECT_EQ(kelp::recv_message(s.a.get(), &type, buf, sizeof buf), -1);
  }
  {
    SocketPair s;  // payload cut short
    write_raw(s.b.get(), {'y', 0, 0, 0, 10, 'a', 'b'});
    s.b.reset();
    EXPECT_EQ(kelp::recv_message(s.a.get(), &type, buf, sizeof buf), -1);
  }
  {
    SocketPair s;  // a length beyond any reply, even without a buffer
    write_raw(s.b.get(), {'y', 0x7F, 0xFF, 0xFF, 0xFF});
    EXPECT_EQ(kelp::recv_message(s.a.get(), &type, nullptr, 0), -1);
  }
  {
    SocketPair s;  // peer gone before anything came
    s.b.reset();
    EXPECT_FALSE(kelp::expect_message(s.a.get(), 'e', buf, sizeof buf));
  }
  EXPECT_FALSE(kelp::send_message(-1, 'q', nullptr, 0));
}

TEST(Framing, PayloadReaderRejectsMalformedPayloads) {
  std::string good("ab\0\x00\x00\x01\xA4", 7);
  kelp::PayloadReader r(good.data(), good.size());
  std::string s;
  int n = 0;
  EXPECT_TRUE(r.str(s));
  EXPECT_EQ(s, "ab");
  EXPECT_TRUE(r.i32(n));
  EXPECT_EQ(n, 420);
  EXPECT_TRUE(r.at_end());
  EXPECT_FALSE(r.i32(n));
  EXPECT_FALSE(r.str(s));
  kelp::PayloadReader unterminated("abc", 3);
  EXPECT_FALSE(unterminated.str(s));
  kelp::PayloadReader short_int("\x01\x02", 2);
  EXPECT_FALSE(short_int.i32(n));
}

// Sends |fds| (possibly none) with |data| as its one data byte.
void send_raw_fds(int socket, char data, const std::vector<int>& fds) {
  ASSERT_EQ(kelptest::send_with_descriptors(socket, &data, 1, fds.data(), fds.size()), 1);
}

TEST(Framing, DescriptorsPassOnlyInWellFormedMessages) {
  kelptest::ScratchDir dir("framing");
  std::string path = dir / "f";
  kelptest::write_file(path, "content");
  UniqueFd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  struct stat original;
  ASSERT_EQ(::fstat(file.get(), &original), 0);
  SocketPair s;
  kelptest::FdSnapshot before;

  ASSERT_EQ(kelp::send_fd(s.b.get(), file.get()), 1);
  UniqueFd got(kelp::recv_fd(s.a.get()));
  ASSERT_GE(got.get(), 0);
  struct stat received;
  ASSERT_EQ(::fstat(got.get(), &received), 0);
  EXPECT_EQ(received.st_ino, original.st_ino);
  EXPECT_TRUE(kelptest::is_cloexec(got.get()));
  got.reset();
  EXPECT_EQ(before.added(), 0);

  // Wrong data byte: refused, and the attached descriptor is not kept.
  send_raw_fds(s.b.get(), 'X', {file.get()});
  EXPECT_EQ(kelp::recv_fd(s.a.get()), -1);
  EXPECT_EQ(before.added(), 0);

  // No descriptor at all.
  send_raw_fds(s.b.get(), 'F', {});
  EXPECT_EQ(kelp::recv_fd(s.a.get()), -1);

  // More descriptors than the control buffer holds: truncated, refused.
  send_raw_fds(s.b.get(), 'F', {file.get(), file.get(), file.get()});
  EXPECT_EQ(kelp::recv_fd(s.a.get()), -1);
  EXPECT_EQ(before.added(), 0);

  s.b.reset();
  EXPECT_EQ(kelp::recv_fd(s.a.get()), -1);  // peer gone
}

}  // namespace
