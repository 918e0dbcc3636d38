package org.apache.hadoop.fs;

import org.apache.hadoop.fs.permission.FsPermission;

/** Build and test stand-in for Hadoop's LocatedFileStatus; production uses Hadoop's jars. */
public class LocatedFileStatus extends FileStatus {
  private final BlockLocation[] locations;

  public LocatedFileStatus(long length, boolean isdir, int block_replication, long blocksize,
      long modification_time, long access_time, FsPermission permission, String owner,
      String group, Path symlink, Path path, BlockLocation[] locations) {
    super(length, isdir, block_replication, blocksize, modification_time, access_time,
        permission, owner, group, symlink, path);
    this.locations = locations;
  }

  public BlockLocation[] getBlockLocations() {
    return locations;
  }
}
