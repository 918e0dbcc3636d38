// Frames of the helper-daemon protocol and descriptor passing.
//
// A frame is one type byte, a 4-byte big-endian payload length and the
// payload. Strings travel with their NUL, integers as 4-byte big-endian two's
// complement. Descriptors follow some replies as SCM_RIGHTS data on a
// message whose one data byte is 'F'. None of these functions lock: a
// connection is used by one thread at a time.
#ifndef KELP_CHANNEL_FRAMING_H
#define KELP_CHANNEL_FRAMING_H

#include <cstddef>
#include <cstdint>

namespace kelp {

// Message types (the byte on the wire).
enum MessageType : char {
  kMsgHandshake = 'l',
  kMsgQuit = 'q',
  kMsgOpen = 'o',
  kMsgExists = 'e',
  kMsgMkdirs = 'm',
  kMsgMkdirsAs = 'M',
  kMsgDelete = 'd',
  kMsgCreate = 'c',
  kMsgCreateAs = 'C',
  kMsgAppend = 'a',
  kMsgAppendAs = 'A',
  kMsgChown = 'n',
  kMsgChmod = 'p',
  kMsgRename = 'r',
  kMsgResolveSymlink = 'y',
  kMsgCreateSymlink = 's',
  kMsgCreateSymlinkAs = 'S',
  kMsgSetBlockGroupFactor = 'b',
  kMsgDeleteSnapshot = 'I',
  kMsgCreateSnapshot = 'h',
  kMsgCreateSnapshotAs = 'H',
  kMsgRenameSnapshot = 'i',
};

constexpr size_t kFrameHeaderSize = 5;
// Largest payload anybody reads; a longer frame is a protocol error.
constexpr uint32_t kMaxPayload = 1u << 20;
// The reply to 'y': the canonical path with its NUL.
constexpr size_t kPathReplySize = 1024;

void serialize_int(char* out, int value);
int deserialize_int(const char* in);
void serialize_short(char* out, short value);
short deserialize_short(const char* in);

// Writes the whole frame with one write; true only if all length+5 bytes went.
bool send_message(int fd, char type, const char* payload, int length);

// Reads one frame: one read for the header, one for the payload. Returns the
// payload length (0 when |out| is null), or -1 on a short read, an I/O error,
// or a payload longer than |capacity| (nothing is written past |out|).
int recv_message(int fd, char* type, char* out, size_t capacity);

// recv_message, then true only if the type is |type|. The payload is copied
// before the type is compared, so a reply of another type still fills |out|.
bool expect_message(int fd, char type, char* out, size_t capacity);

// Sends |fd| over |socket| (the daemon's half). Returns sendmsg's result.
int send_fd(int socket, int fd);

// Receives one descriptor (close-on-exec), or -1 when the message fails, its
// data byte is not 'F', its control data was truncated or holds none.
int recv_fd(int socket);

}  // namespace kelp

#endif  // KELP_CHANNEL_FRAMING_H
