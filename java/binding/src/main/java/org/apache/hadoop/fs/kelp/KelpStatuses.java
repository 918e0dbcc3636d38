package org.apache.hadoop.fs.kelp;

import java.util.ArrayList;
import java.util.Iterator;
import java.util.List;
import java.util.NoSuchElementException;
import org.apache.hadoop.fs.BlockLocation;
import org.apache.hadoop.fs.FileStatus;
import org.apache.hadoop.fs.LocatedFileStatus;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.PathFilter;
import org.apache.hadoop.fs.RemoteIterator;
import org.apache.hadoop.fs.permission.FsPermission;

/** Turns the statuses the native side builds (local paths) into Hadoop's, with kelp paths. */
final class KelpStatuses {
  private KelpStatuses() {}

  /** The status under {@code path}; the ACL bit becomes the status's ACL flag. */
  static LocatedFileStatus withPath(LocatedFileStatus s, Path path, boolean located) {
    FsPermission raw = s.getPermission();
    boolean acl = s.hasAcl();
    FsPermission perm = new FsPermission((short) (raw.toShort() & 01777));
    BlockLocation[] blocks = located ? s.getBlockLocations() : null;
    return new LocatedFileStatus(s.getLen(), s.isDirectory(), s.getReplication(),
        s.getBlockSize(), s.getModificationTime(), s.getAccessTime(), perm, s.getOwner(),
        s.getGroup(), null, path, acl, false, false, blocks);
  }

  /** The entries of a native listing, empty slots and entries outside the mount left out. */
  static List<LocatedFileStatus> listing(LocatedFileStatus[] entries, KelpMount mount,
      boolean located) {
    List<LocatedFileStatus> out = new ArrayList<>(entries.length);
    for (LocatedFileStatus e : entries) {
      if (e == null) {
        continue;
      }
      Path p = mount.toKelp(e.getPath());
      if (p != null) {
        out.add(withPath(e, p, located));
      }
    }
    return out;
  }

  static FileStatus[] plain(List<LocatedFileStatus> statuses) {
    return statuses.toArray(new FileStatus[0]);
  }

  /** The entries the filter accepts, one at a time. */
  static RemoteIterator<LocatedFileStatus> iterator(List<LocatedFileStatus> entries,
      PathFilter filter) {
    Iterator<LocatedFileStatus> it = entries.stream()
        .filter(e -> filter.accept(e.getPath())).iterator();
    return new RemoteIterator<LocatedFileStatus>() {
      @Override
      public boolean hasNext() {
        return it.hasNext();
      }

      @Override
      public LocatedFileStatus next() {
        if (!it.hasNext()) {
          throw new NoSuchElementException();
        }
        return it.next();
      }
    };
  }
}
