package org.apache.hadoop.fs.kelp;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.net.URI;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.Paths;
import java.nio.file.attribute.PosixFileAttributes;
import org.apache.hadoop.fs.FileAlreadyExistsException;
import org.apache.hadoop.fs.FileStatus;
import org.apache.hadoop.fs.LocatedFileStatus;
import org.apache.hadoop.fs.ParentNotDirectoryException;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.security.AccessControlException;

/** Symbolic links of {@link KelpFileSystem}: targets inside the mount read as kelp paths. */
final class KelpLinks extends KelpPart {
  KelpLinks(KelpFileSystem fs, KelpConnections connections, KelpMount mount) {
    super(fs, connections, mount);
  }

  /** The link text of a kelp target: absolute kelp paths become local ones. */
  private String linkText(Path target) {
    URI t = target.toUri();
    if (t.getScheme() == null && !target.isAbsolute()) {
      return t.getPath();
    }
    return fs.local(target);
  }

  /** The kelp path (or relative path) a link's text stands for. */
  private Path linkTarget(String text) {
    if (text.startsWith("/")) {
      Path p = mount.toKelp(text);
      return p != null ? p : new Path("file", null, text);
    }
    return new Path(null, null, text);
  }

  void createSymlink(Path target, Path link, boolean createParent) throws IOException {
    Path q = fs.makeQualified(link);
    String local = mount.toLocal(q);
    if (fs.nativeStatus(local) != null || KelpFileSystem.isSymlink(local)) {
      throw new FileAlreadyExistsException(q + " already exists");
    }
    Path parent = q.getParent();
    if (parent != null) {
      LocatedFileStatus p = fs.nativeStatus(mount.toLocal(parent));
      if (p == null) {
        if (!createParent) {
          throw new FileNotFoundException(parent + ": No such file or directory");
        }
        fs.mkdirs(parent, null);
      } else if (!p.isDirectory()) {
        throw new ParentNotDirectoryException("Parent path is not a directory: " + parent);
      }
    }
    String text = linkText(target);
    boolean made = connections.call(c -> fs.useAs()
        ? fs.nCreateSymlinkAs(c, text, local, fs.ownerName(), fs.ownerGroup())
        : fs.nCreateSymlink(c, text, local));
    if (!made) {
      throw new AccessControlException("Cannot create link " + q + ": permission denied");
    }
  }

  FileStatus getFileLinkStatus(Path f) throws IOException {
    Path q = fs.makeQualified(f);
    String local = mount.toLocal(q);
    if (!KelpFileSystem.isSymlink(local)) {
      return fs.getFileStatus(q);
    }
    Path target = getLinkTarget(q);
    PosixFileAttributes a = Files.readAttributes(Paths.get(local), PosixFileAttributes.class,
        LinkOption.NOFOLLOW_LINKS);
    return new FileStatus(a.size(), false, 0, 0, a.lastModifiedTime().toMillis(),
        a.lastAccessTime().toMillis(), FsPermission.createImmutable((short) 0777),
        a.owner().getName(), a.group().getName(), target, q);
  }

  Path getLinkTarget(Path f) throws IOException {
    Path q = fs.makeQualified(f);
    String local = mount.toLocal(q);
    String text = connections.call(c -> fs.nReadSymlink(c, local));
    if (text == null) {
      try {
        text = Files.readSymbolicLink(Paths.get(local)).toString();
      } catch (IOException e) {
        if (fs.nativeStatus(local) == null && !KelpFileSystem.isSymlink(local)) {
          throw fs.missing(q, local);
        }
        throw new IOException(q + " is not a symbolic link");
      }
    }
    return linkTarget(text);
  }
}
