package org.apache.hadoop.fs.kelp;

import java.io.BufferedOutputStream;
import java.io.FileDescriptor;
import java.io.IOException;
import java.io.OutputStream;
import org.apache.hadoop.fs.StreamCapabilities;
import org.apache.hadoop.fs.Syncable;

/**
 * Writes a file through the descriptor of a native create or append. hflush hands the buffered
 * bytes to the kernel, where every reader sees them; hsync then forces them to disk through the
 * file system's own sync ({@link KELPDataOutputStream#kelp_fdatasync}) and, since that acts on
 * whatever file first had this path, also through this descriptor.
 */
final class KelpOutputStream extends OutputStream implements Syncable, StreamCapabilities {
  private final KELPDataOutputStream kelp;
  private final FileDescriptor fd;
  private final BufferedOutputStream buffer;
  private boolean closed;

  KelpOutputStream(String localPath, FileDescriptor fd, int bufferSize) {
    this.fd = fd;
    this.kelp = new KELPDataOutputStream(localPath, fd);
    this.buffer = new BufferedOutputStream(kelp, Math.max(bufferSize, 512));
  }

  private void checkOpen() throws IOException {
    if (closed) {
      throw new IOException("stream closed: " + kelp.getPath());
    }
  }

  @Override
  public synchronized void write(int b) throws IOException {
    checkOpen();
    buffer.write(b);
  }

  @Override
  public synchronized void write(byte[] b, int off, int len) throws IOException {
    checkOpen();
    buffer.write(b, off, len);
  }

  @Override
  public synchronized void flush() throws IOException {
    checkOpen();
    buffer.flush();
  }

  @Override
  public synchronized void hflush() throws IOException {
    flush();
  }

  @Override
  public synchronized void hsync() throws IOException {
    flush();
    int rc = kelp.kelp_fdatasync(kelp.getPath());
    // 1: this process cannot open the file by its path (it may have come from the daemon);
    // the descriptor's own sync below still forces the data.
    if (rc != 0 && rc != 1) {
      throw new IOException("sync of " + kelp.getPath() + " failed: " + rc);
    }
    fd.sync();
  }

  @Override
  public boolean hasCapability(String capability) {
    switch (capability.toLowerCase(java.util.Locale.ROOT)) {
      case "hflush":
      case "hsync":
        return true;
      default:
        return false;
    }
  }

  @Override
  public synchronized void close() throws IOException {
    if (closed) {
      return;
    }
    try {
      buffer.flush();
    } finally {
      closed = true;
      kelp.close();
    }
  }
}
