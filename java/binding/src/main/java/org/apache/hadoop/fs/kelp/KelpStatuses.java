package org.apache.hadoop.fs.kelp;

import java.util.ArrayList;
import java.util.Iterator;
import java.util.List;
import java.util.NoSuchElementException;
import org.apache.hadoop.fs.FileStatus;
import org.apache.hadoop.fs.LocatedFileStatus;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.PathFilter;
import org.apache.hadoop.fs.RemoteIterator;
import org.apache.hadoop.fs.permission.FsPermission;

/** Turns the statuses the native side builds (local paths) into Hadoop's, with kelp paths. */
final class KelpStatuses {
  private KelpStatuses() {}

  /**
   * The status under {@code path}, without block locations: a plain {@code FileStatus}, so that
   * callers such as {@code FileInputFormat} ask {@code getFileBlockLocations} instead of finding
   * a located status without blocks. The ACL bit becomes the status's ACL flag.
   */
  static FileStatus withPath(LocatedFileStatus s, Path path) {
    FsPermission perm = new FsPermission((short) (s.getPermission().toShort() & 01777));
    return new FileStatus(s.getLen(), s.isDirectory(), s.getReplication(), s.getBlockSize(),
        s.getModificationTime(), s.getAccessTime(), perm, s.getOwner(), s.getGroup(), null, path,
        s.hasAcl(), false, false);
  }

  /** The status under {@code path} with the block locations the native side found. */
  static LocatedFileStatus locatedWithPath(LocatedFileStatus s, Path path) {
    return new LocatedFileStatus(withPath(s, path), s.getBlockLocations());
  }

  /** The entries of a native listing, empty slots and entries outside the mount left out. */
  static List<FileStatus> listing(LocatedFileStatus[] entries, KelpMount mount,
      boolean located) {
    List<FileStatus> out = new ArrayList<>(entries.length);
    for (LocatedFileStatus e : entries) {
      if (e == null) {
        continue;
      }
      Path p = mount.toKelp(e.getPath());
      if (p != null) {
        out.add(located ? locatedWithPath(e, p) : withPath(e, p));
      }
    }
    return out;
  }

  static FileStatus[] plain(List<FileStatus> statuses) {
    return statuses.toArray(new FileStatus[0]);
  }

  /** The entries the filter accepts, one at a time. */
  static RemoteIterator<LocatedFileStatus> iterator(List<FileStatus> entries,
      PathFilter filter) {
    Iterator<LocatedFileStatus> it = entries.stream()
        .filter(e -> filter.accept(e.getPath())).map(e -> (LocatedFileStatus) e).iterator();
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
