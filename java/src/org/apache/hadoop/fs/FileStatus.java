package org.apache.hadoop.fs;

import org.apache.hadoop.fs.permission.FsPermission;

/** Build and test stand-in for Hadoop's FileStatus; production uses Hadoop's jars. */
public class FileStatus {
  private final long length;
  private final boolean isdir;
  private final short blockReplication;
  private final long blocksize;
  private final long modificationTime;
  private final long accessTime;
  private final FsPermission permission;
  private final String owner;
  private final String group;
  private final Path symlink;
  private final Path path;

  public FileStatus(long length, boolean isdir, int block_replication, long blocksize,
      long modification_time, long access_time, FsPermission permission, String owner,
      String group, Path path) {
    this(length, isdir, block_replication, blocksize, modification_time, access_time,
        permission, owner, group, null, path);
  }

  public FileStatus(long length, boolean isdir, int block_replication, long blocksize,
      long modification_time, long access_time, FsPermission permission, String owner,
      String group, Path symlink, Path path) {
    this.length = length;
    this.isdir = isdir;
    this.blockReplication = (short) block_replication;
    this.blocksize = blocksize;
    this.modificationTime = modification_time;
    this.accessTime = access_time;
    this.permission = permission;
    this.owner = owner == null ? "" : owner;
    this.group = group == null ? "" : group;
    this.symlink = symlink;
    this.path = path;
  }

  public long getLen() { return length; }
  public boolean isDirectory() { return isdir; }
  public short getReplication() { return blockReplication; }
  public long getBlockSize() { return blocksize; }
  public long getModificationTime() { return modificationTime; }
  public long getAccessTime() { return accessTime; }
  public FsPermission getPermission() { return permission; }
  public String getOwner() { return owner; }
  public String getGroup() { return group; }
  public Path getPath() { return path; }
  public Path getSymlink() { return symlink; }
}
