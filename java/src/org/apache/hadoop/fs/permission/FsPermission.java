package org.apache.hadoop.fs.permission;

/** Build and test stand-in for Hadoop's FsPermission; production uses Hadoop's jars. */
public class FsPermission {
  private final short mode;

  public FsPermission(short mode) {
    this.mode = mode;
  }

  public short toShort() {
    return mode;
  }

  @Override
  public String toString() {
    return String.format("%04o", mode & 07777);
  }
}
