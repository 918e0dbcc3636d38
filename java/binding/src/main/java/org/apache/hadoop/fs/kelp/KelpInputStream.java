package org.apache.hadoop.fs.kelp;

import java.io.EOFException;
import java.io.FileDescriptor;
import java.io.FileInputStream;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.channels.FileChannel;
import org.apache.hadoop.fs.FSExceptionMessages;
import org.apache.hadoop.fs.FSInputStream;
import org.apache.hadoop.fs.FileSystem;

/**
 * Reads a file through the descriptor the native open returned. Positioned reads go through
 * the channel at their own offset, so they neither move nor race with the stream's position.
 */
final class KelpInputStream extends FSInputStream {
  private final FileInputStream in;
  private final FileChannel channel;
  private final FileSystem.Statistics statistics;
  private long pos;
  private volatile boolean closed;

  KelpInputStream(FileDescriptor fd, FileSystem.Statistics statistics) {
    this.in = new FileInputStream(fd);
    this.channel = in.getChannel();
    this.statistics = statistics;
  }

  private void checkOpen() throws IOException {
    if (closed) {
      throw new IOException(FSExceptionMessages.STREAM_IS_CLOSED);
    }
  }

  @Override
  public synchronized void seek(long target) throws IOException {
    checkOpen();
    if (target < 0) {
      throw new EOFException(FSExceptionMessages.NEGATIVE_SEEK);
    }
    pos = target;
  }

  @Override
  public synchronized long getPos() throws IOException {
    return pos;
  }

  @Override
  public boolean seekToNewSource(long targetPos) {
    return false;
  }

  @Override
  public synchronized int available() throws IOException {
    checkOpen();
    long left = channel.size() - pos;
    return (int) Math.max(0, Math.min(Integer.MAX_VALUE, left));
  }

  @Override
  public synchronized int read() throws IOException {
    byte[] one = new byte[1];
    int n = read(one, 0, 1);
    return n <= 0 ? -1 : one[0] & 0xff;
  }

  @Override
  public synchronized int read(byte[] b, int off, int len) throws IOException {
    checkOpen();
    validatePositionedReadArgs(pos, b, off, len);
    if (len == 0) {
      return 0;
    }
    int n = channel.read(ByteBuffer.wrap(b, off, len), pos);
    if (n > 0) {
      pos += n;
      count(n);
    }
    return n;
  }

  @Override
  public int read(long position, byte[] b, int off, int len) throws IOException {
    checkOpen();
    validatePositionedReadArgs(position, b, off, len);
    if (len == 0) {
      return 0;
    }
    int n = channel.read(ByteBuffer.wrap(b, off, len), position);
    if (n > 0) {
      count(n);
    }
    return n;
  }

  @Override
  public synchronized long skip(long n) throws IOException {
    checkOpen();
    if (n <= 0) {
      return 0;
    }
    long left = Math.max(0, channel.size() - pos);
    long skipped = Math.min(n, left);
    pos += skipped;
    return skipped;
  }

  private void count(int n) {
    if (statistics != null) {
      statistics.incrementBytesRead(n);
    }
  }

  @Override
  public void close() throws IOException {
    closed = true;
    in.close();
  }
}
