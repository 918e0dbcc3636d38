package org.apache.hadoop.fs.kelp;

import java.io.FileDescriptor;
import java.io.FileOutputStream;
import java.io.FilterOutputStream;
import java.io.IOException;

/**
 * Output stream over a descriptor from {@link KelpFileSystem}, able to force written data to
 * disk and to reserve space. The native methods address the file by its path.
 */
public class KELPDataOutputStream extends FilterOutputStream {
  static {
    System.loadLibrary("kelphadoopmap");
  }

  private final String path;

  public KELPDataOutputStream(String path, FileDescriptor fd) {
    super(new FileOutputStream(fd));
    this.path = path;
  }

  public String getPath() {
    return path;
  }

  @Override
  public void write(byte[] b, int off, int len) throws IOException {
    out.write(b, off, len);
  }

  /** Flushes and forces the data of the whole file to disk. */
  public void hsync() throws IOException {
    flush();
    int rc = kelp_fdatasync(path);
    if (rc != 0) {
      throw new IOException("sync of " + path + " failed: " + rc);
    }
  }

  /** Returns the result of the file system's sync-range request, or 1 if the file won't open. */
  public native int kelp_fsync_range(String path, long offset, long length);

  /** Returns the result of fdatasync (0 or -1), or 1 if the file cannot be opened. */
  public native int kelp_fdatasync(String path);

  /** Reserves space from offset 0; returns the file system's result, or 1 if it won't open. */
  public native int kelp_preallocate(String path, long length);
}
