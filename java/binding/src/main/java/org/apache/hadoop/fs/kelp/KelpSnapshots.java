package org.apache.hadoop.fs.kelp;

import java.io.IOException;
import java.text.SimpleDateFormat;
import java.util.Date;
import java.util.Locale;
import java.util.concurrent.ThreadLocalRandom;
import org.apache.hadoop.fs.LocatedFileStatus;
import org.apache.hadoop.fs.ParentNotDirectoryException;
import org.apache.hadoop.fs.Path;

/**
 * Directory snapshots of {@link KelpFileSystem} as HDFS names them: {@code dir/.snapshot/name}
 * is a link into a snapshot of the whole file system, made by the native library.
 */
final class KelpSnapshots extends KelpPart {
  KelpSnapshots(KelpFileSystem fs, KelpConnections connections, KelpMount mount) {
    super(fs, connections, mount);
  }

  private static void checkSnapshotName(String name) {
    if (name.isEmpty() || name.equals(".") || name.equals("..") || name.indexOf('/') >= 0) {
      throw new IllegalArgumentException("invalid snapshot name \"" + name + "\"");
    }
  }

  Path createSnapshot(Path path, String snapshotName) throws IOException {
    Path q = fs.makeQualified(path);
    String local = mount.toLocal(q);
    if (!fs.getFileStatus(q).isDirectory()) {
      throw new ParentNotDirectoryException(q + " is not a directory");
    }
    String name = snapshotName != null ? snapshotName
        : new SimpleDateFormat("'s'yyyyMMdd-HHmmss.SSS", Locale.ROOT).format(new Date());
    checkSnapshotName(name);
    // The file system's own snapshot needs a name unique across it; the link carries the
    // caller's name.
    String whole = (name.length() > 200 ? name.substring(0, 200) : name) + "-"
        + Long.toHexString(ThreadLocalRandom.current().nextLong() & Long.MAX_VALUE);
    String link = connections.call(c -> fs.nCreateSnapshot(c, local, whole, name));
    if (link == null) {
      throw new IOException("Failed to create Snapshot");
    }
    return new Path(q, new Path(null, null, ".snapshot/" + name));
  }

  void renameSnapshot(Path path, String oldName, String newName) throws IOException {
    Path q = fs.makeQualified(path);
    String local = mount.toLocal(q);
    checkSnapshotName(oldName);
    checkSnapshotName(newName);
    if (!connections.call(c -> fs.nRenameSnapshot(c, local, oldName, newName))) {
      throw new IOException("Failed to rename snapshot " + oldName + " of " + q + " to "
          + newName + " (missing, or the new name is taken)");
    }
  }

  void deleteSnapshot(Path path, String snapshotName) throws IOException {
    Path q = fs.makeQualified(path);
    String local = mount.toLocal(q);
    checkSnapshotName(snapshotName);
    if (!connections.call(c -> fs.nDeleteSnapshot(c, local, snapshotName))) {
      throw new IOException("Failed to delete Snapshot");
    }
  }

  /** Removes the empty .snapshot folders of a tree; true when any went. */
  boolean removeEmptyFolders(String dir) throws IOException {
    boolean removed = false;
    String folder = dir + "/.snapshot";
    if (fs.nativeStatus(folder) != null && !KelpFileSystem.isSymlink(folder)) {
      removed = connections.call(c -> fs.nDelete(c, folder, false));
    }
    LocatedFileStatus[] entries = fs.nativeListing(dir, false, 1, Integer.MAX_VALUE);
    if (entries != null) {
      for (LocatedFileStatus e : entries) {
        if (e == null || !e.isDirectory()) {
          continue;
        }
        String child = e.getPath().toUri().getPath();
        // Never through a link: the walk stays inside the tree.
        if (!KelpFileSystem.isSymlink(child)) {
          removed |= removeEmptyFolders(child);
        }
      }
    }
    return removed;
  }
}
