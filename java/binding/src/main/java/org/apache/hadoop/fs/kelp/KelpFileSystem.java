package org.apache.hadoop.fs.kelp;

import java.io.FileDescriptor;
import java.io.FileNotFoundException;
import java.io.IOException;
import java.net.URI;
import java.nio.file.Files;
import java.nio.file.Paths;
import java.util.ArrayList;
import java.util.EnumSet;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.BlockLocation;
import org.apache.hadoop.fs.BufferedFSInputStream;
import org.apache.hadoop.fs.CommonPathCapabilities;
import org.apache.hadoop.fs.CreateFlag;
import org.apache.hadoop.fs.FSDataInputStream;
import org.apache.hadoop.fs.FSDataOutputStream;
import org.apache.hadoop.fs.FileAlreadyExistsException;
import org.apache.hadoop.fs.FileStatus;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.LocatedFileStatus;
import org.apache.hadoop.fs.ParentNotDirectoryException;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.PathFilter;
import org.apache.hadoop.fs.PathIsNotEmptyDirectoryException;
import org.apache.hadoop.fs.RemoteIterator;
import org.apache.hadoop.fs.XAttrSetFlag;
import org.apache.hadoop.fs.permission.AclEntry;
import org.apache.hadoop.fs.permission.AclStatus;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.security.AccessControlException;
import org.apache.hadoop.security.UserGroupInformation;
import org.apache.hadoop.util.Progressable;

/**
 * Hadoop file system of the scheme {@code kelp}: {@code kelp:///p} is {@code p} below the Kelp
 * mount point. The work is done by the native library, either with this process's rights
 * (connection {@link #LOCAL}) or by the privileged helper daemon over connections that this
 * instance pools, one request in flight per connection.
 *
 * <p>Configuration: {@value #MOUNT_KEY} (default: the kelp mount of /etc/mtab that sorts first),
 * {@value #DAEMON_KEY} ({@code auto}, {@code never} or {@code required}),
 * {@value #CONNECTIONS_KEY}, {@value #LIST_THREADS_KEY}, {@value #LIST_THRESHOLD_KEY},
 * {@value #BGF_KEY} and {@value #BLOCK_SIZE_KEY} (used only when the file system's details cannot
 * be read).
 */
public class KelpFileSystem extends FileSystem {
  /** Connection value meaning "no helper daemon: work locally". */
  public static final int LOCAL = -42;

  public static final String SCHEME = "kelp";
  public static final String MOUNT_KEY = "fs.kelp.mount";
  public static final String DAEMON_KEY = "fs.kelp.daemon";
  public static final String CONNECTIONS_KEY = "fs.kelp.daemon.connections";
  public static final String LIST_THREADS_KEY = "fs.kelp.list.threads";
  public static final String LIST_THRESHOLD_KEY = "fs.kelp.list.threshold";
  public static final String BGF_KEY = "fs.kelp.block-group-factor";
  public static final String BLOCK_SIZE_KEY = "fs.kelp.block.size";

  private static final Throwable LOAD_ERROR;

  static {
    // A process that only scans the service file for schemes must not fail here; the failure
    // is reported when a file system is actually initialised.
    Throwable error = null;
    try {
      System.loadLibrary("kelphadoopmap");
    } catch (UnsatisfiedLinkError | SecurityException e) {
      error = e;
    }
    LOAD_ERROR = error;
  }

  private URI uri;
  private KelpMount mount;
  private KelpConnections connections;
  private Path workingDir;
  private String user;
  private String actAs;
  private String ownerName;
  private String ownerGroup;
  private int listThreads;
  private int listThreshold;
  private int blockGroupFactor;
  private volatile KELPDetails details;
  private KelpSnapshots snapshots;
  private KelpAttributes attributes;
  private KelpLinks links;
  private volatile boolean detailsRead;
  private final Object detailsLock = new Object();

  @Override
  public String getScheme() {
    return SCHEME;
  }

  @Override
  public URI getUri() {
    return uri;
  }

  @Override
  public void initialize(URI name, Configuration conf) throws IOException {
    super.initialize(name, conf);
    setConf(conf);
    if (LOAD_ERROR != null) {
      throw new IOException("the Kelp native library cannot be loaded: " + LOAD_ERROR, LOAD_ERROR);
    }
    if (name.getAuthority() != null && !name.getAuthority().isEmpty()) {
      throw new IOException("a kelp URI names no host: " + name);
    }
    uri = URI.create(SCHEME + ":///");
    String m = conf.getTrimmed(MOUNT_KEY, "");
    if (m.isEmpty()) {
      m = KelpMount.defaultMount();
      if (m == null) {
        throw new IOException("no Kelp file system is mounted (none of type kelp in "
            + KelpMount.MTAB + ") and " + MOUNT_KEY + " is not set");
      }
    }
    mount = new KelpMount(m, uri);
    listThreads = conf.getInt(LIST_THREADS_KEY, 4);
    listThreshold = conf.getInt(LIST_THRESHOLD_KEY, 1000);
    blockGroupFactor = conf.getInt(BGF_KEY, 0);

    UserGroupInformation ugi = UserGroupInformation.getCurrentUser();
    UserGroupInformation real = ugi.getRealUser();
    user = real != null ? real.getShortUserName() : ugi.getShortUserName();
    actAs = real != null ? ugi.getShortUserName() : null;
    String[] groups = ugi.getGroupNames();
    ownerName = ugi.getShortUserName();
    ownerGroup = groups.length > 0 ? groups[0] : "";
    connections = connect(conf.getTrimmed(DAEMON_KEY, "auto").toLowerCase(Locale.ROOT),
        conf.getInt(CONNECTIONS_KEY, 8));
    workingDir = getHomeDirectory();
    snapshots = new KelpSnapshots(this, connections, mount);
    attributes = new KelpAttributes(this, connections, mount);
    links = new KelpLinks(this, connections, mount);
  }

  String ownerName() {
    return ownerName;
  }

  String ownerGroup() {
    return ownerGroup;
  }

  private KelpConnections connect(String mode, int limit) throws IOException {
    if (!mode.equals("auto") && !mode.equals("never") && !mode.equals("required")) {
      throw new IOException(DAEMON_KEY + " must be auto, never or required, not " + mode);
    }
    if (mode.equals("never")) {
      if (actAs != null) {
        throw new AccessControlException(user + " cannot act for " + actAs
            + " without the Kelp helper daemon (" + DAEMON_KEY + " is never)");
      }
      return new KelpConnections(this);
    }
    int conn = nConnect(user, actAs);
    if (conn >= 0) {
      return new KelpConnections(this, conn, user, actAs, limit);
    }
    if (mode.equals("required") || actAs != null) {
      throw new IOException("the Kelp helper daemon does not serve " + user
          + (actAs != null ? " acting for " + actAs : "") + " (answer " + conn + ")");
    }
    return new KelpConnections(this);
  }

  /** True when requests go to the helper daemon. */
  public boolean isDaemonMode() {
    return !connections.isLocal();
  }

  /** The local mount point that kelp:/// stands for. */
  public String getMountPoint() {
    return mount.mount();
  }

  @Override
  public void close() throws IOException {
    try {
      super.close();
    } finally {
      if (connections != null) {
        connections.close();
      }
    }
  }

  @Override
  public Path getWorkingDirectory() {
    return workingDir;
  }

  @Override
  public void setWorkingDirectory(Path dir) {
    workingDir = makeQualified(dir);
  }

  // ---------------------------------------------------------------------------------------
  // Paths, statuses and the causes of failures.

  String local(Path p) {
    return mount.toLocal(makeQualified(p));
  }

  LocatedFileStatus nativeStatus(String local) throws IOException {
    // Outside the call: a connection is never held while another is asked for.
    long blockSize = getDefaultBlockSize();
    return connections.call(c -> nGetFileStatus(c, local, blockSize));
  }

  /** Why a path could not be used: missing, or there but closed to this caller. */
  IOException missing(Path p, String local) throws IOException {
    boolean there = connections.call(c -> nExists(c, local));
    if (there) {
      // Any failure but "no such entry" counts as existing, a file on the way included.
      for (Path a = p.getParent(); a != null; a = a.getParent()) {
        LocatedFileStatus s = nativeStatus(mount.toLocal(a));
        if (s != null) {
          if (s.isDirectory()) {
            return new AccessControlException("Permission denied: " + p);
          }
          break;
        }
      }
    }
    return new FileNotFoundException(p + ": No such file or directory");
  }

  /** Creating or changing an existing path failed for a reason the natives do not say. */
  IOException refused(String what, Path p, String local) throws IOException {
    if (nativeStatus(local) == null) {
      return missing(p, local);
    }
    return new AccessControlException(what + " " + p + ": permission denied");
  }

  boolean useAs() {
    return !connections.isLocal() && !ownerName.equals(System.getProperty("user.name"));
  }

  private int umasked(FsPermission permission, FsPermission fallback) {
    FsPermission p = permission == null ? fallback : permission;
    return p.applyUMask(FsPermission.getUMask(getConf())).toShort() & 07777;
  }

  @Override
  public FileStatus getFileStatus(Path f) throws IOException {
    Path q = makeQualified(f);
    String local = mount.toLocal(q);
    LocatedFileStatus s = nativeStatus(local);
    if (s == null) {
      throw missing(q, local);
    }
    return KelpStatuses.withPath(s, q);
  }

  // ---------------------------------------------------------------------------------------
  // Reading and writing.

  @Override
  public FSDataInputStream open(Path f, int bufferSize) throws IOException {
    Path q = makeQualified(f);
    String local = mount.toLocal(q);
    FileStatus s = getFileStatus(q);
    if (s.isDirectory()) {
      throw new FileNotFoundException(q + " is a directory");
    }
    FileDescriptor fd = connections.call(c -> nOpen(c, local));
    if (fd == null) {
      throw refused("Cannot open", q, local);
    }
    return new FSDataInputStream(
        new BufferedFSInputStream(new KelpInputStream(fd, statistics), bufferSize));
  }

  @Override
  public FSDataOutputStream create(Path f, FsPermission permission, boolean overwrite,
      int bufferSize, short replication, long blockSize, Progressable progress)
      throws IOException {
    return create(makeQualified(f), permission, overwrite, bufferSize, replication, true);
  }

  @Override
  public FSDataOutputStream createNonRecursive(Path f, FsPermission permission,
      EnumSet<CreateFlag> flags, int bufferSize, short replication, long blockSize,
      Progressable progress) throws IOException {
    return create(makeQualified(f), permission, flags.contains(CreateFlag.OVERWRITE),
        bufferSize, replication, false);
  }

  private FSDataOutputStream create(Path q, FsPermission permission, boolean overwrite,
      int bufferSize, short replication, boolean createParents) throws IOException {
    String local = mount.toLocal(q);
    LocatedFileStatus existing = nativeStatus(local);
    if (existing != null && existing.isDirectory()) {
      throw new FileAlreadyExistsException(q + " is a directory");
    }
    if (existing != null && !overwrite) {
      throw new FileAlreadyExistsException(q + " already exists");
    }
    Path parent = q.getParent();
    if (existing == null && parent != null) {
      if (createParents) {
        mkdirs(parent, null);
      } else {
        LocatedFileStatus p = nativeStatus(mount.toLocal(parent));
        if (p == null) {
          throw new FileNotFoundException(parent + ": No such file or directory");
        }
        if (!p.isDirectory()) {
          throw new ParentNotDirectoryException("Parent path is not a directory: " + parent);
        }
      }
    }
    int mode = umasked(permission, FsPermission.getFileDefault());
    int repl = replicationFor(replication);
    FileDescriptor fd = connections.call(c -> useAs()
        ? nCreateAs(c, local, mode, repl, overwrite, ownerName, ownerGroup, blockGroupFactor)
        : nCreate(c, local, mode, repl, overwrite, blockGroupFactor));
    if (fd == null) {
      if (!overwrite && nativeStatus(local) != null) {
        throw new FileAlreadyExistsException(q + " already exists");
      }
      throw new AccessControlException("Cannot create " + q + ": permission denied");
    }
    // The process's umask also applied at open; the caller's mode is what counts.
    connections.call(c -> nChmod(c, local, mode));
    return new FSDataOutputStream(new KelpOutputStream(local, fd, bufferSize), statistics);
  }

  /** A requested replication the file system will accept: between 1 and its maximum. */
  private int replicationFor(short requested) {
    KELPDetails d = details();
    int max = d != null ? Math.max(1, d.getMaxDataReplicas()) : Integer.MAX_VALUE;
    return Math.max(1, Math.min(requested, max));
  }

  @Override
  public FSDataOutputStream append(Path f, int bufferSize, Progressable progress)
      throws IOException {
    Path q = makeQualified(f);
    String local = mount.toLocal(q);
    FileStatus s = getFileStatus(q);
    if (s.isDirectory()) {
      throw new FileAlreadyExistsException(q + " is a directory");
    }
    FileDescriptor fd = connections.call(c -> useAs()
        ? nAppendAs(c, local, ownerName, ownerGroup)
        : nAppend(c, local));
    if (fd == null) {
      throw refused("Cannot append to", q, local);
    }
    return new FSDataOutputStream(new KelpOutputStream(local, fd, bufferSize), statistics,
        s.getLen());
  }

  // ---------------------------------------------------------------------------------------
  // Namespace.

  @Override
  public boolean mkdirs(Path f, FsPermission permission) throws IOException {
    Path q = makeQualified(f);
    String local = mount.toLocal(q);
    LocatedFileStatus s = nativeStatus(local);
    if (s != null) {
      if (s.isDirectory()) {
        return true;
      }
      throw new FileAlreadyExistsException("Path is a file: " + q);
    }
    // The native mkdirs takes an existing file on the way for a directory.
    for (Path p = q.getParent(); p != null; p = p.getParent()) {
      LocatedFileStatus a = nativeStatus(mount.toLocal(p));
      if (a != null) {
        if (!a.isDirectory()) {
          throw new ParentNotDirectoryException("Parent path is not a directory: " + p);
        }
        break;
      }
    }
    int mode = umasked(permission, FsPermission.getDirDefault());
    boolean made = connections.call(c -> useAs()
        ? nMkdirsAs(c, local, mode, ownerName, ownerGroup)
        : nMkdirs(c, local, mode));
    if (!made) {
      LocatedFileStatus now = nativeStatus(local);
      if (now != null && now.isDirectory()) {
        return true;
      }
      throw new AccessControlException("Cannot create directory " + q + ": permission denied");
    }
    connections.call(c -> nChmod(c, local, mode));
    return true;
  }

  @Override
  public boolean delete(Path f, boolean recursive) throws IOException {
    Path q = makeQualified(f);
    String local = mount.toLocal(q);
    if (q.isRoot()) {
      // The mount point itself stays.
      if (!recursive && listStatus(q).length > 0) {
        throw new PathIsNotEmptyDirectoryException(q.toString());
      }
      return false;
    }
    if (isSymlink(local)) {
      // The link goes, never what it points at.
      if (connections.isLocal()) {
        Files.delete(Paths.get(local));
        return true;
      }
      return connections.call(c -> nDelete(c, local, false));
    }
    LocatedFileStatus s = nativeStatus(local);
    if (s == null) {
      if (connections.call(c -> nExists(c, local))) {
        throw new AccessControlException("Permission denied: " + q);
      }
      return false;
    }
    if (connections.call(c -> nDelete(c, local, recursive))) {
      return true;
    }
    // An empty .snapshot folder (left by deleted snapshots) stops the native delete; such
    // folders go first, and the delete is tried once more. Folders holding links stay, and
    // the native delete then raises its snapshot text.
    if (recursive && s.isDirectory() && snapshots.removeEmptyFolders(local)
        && connections.call(c -> nDelete(c, local, true))) {
      return true;
    }
    LocatedFileStatus after = nativeStatus(local);
    if (after == null) {
      return true;
    }
    if (after.isDirectory() && !recursive) {
      throw new PathIsNotEmptyDirectoryException(q.toString());
    }
    throw new IOException("Failed to delete " + q);
  }

  static boolean isSymlink(String local) {
    try {
      return Files.isSymbolicLink(Paths.get(local));
    } catch (SecurityException | java.nio.file.InvalidPathException e) {
      return false;
    }
  }

  @Override
  public boolean rename(Path src, Path dst) throws IOException {
    Path s = makeQualified(src);
    Path d = makeQualified(dst);
    String srcLocal = mount.toLocal(s);
    LocatedFileStatus from = nativeStatus(srcLocal);
    if (from == null || s.isRoot()) {
      return false;
    }
    if (s.equals(d)) {
      return !from.isDirectory();
    }
    String srcPath = s.toUri().getPath();
    if (d.toUri().getPath().startsWith(srcPath + "/")) {
      return false;
    }
    LocatedFileStatus to = nativeStatus(mount.toLocal(d));
    if (to != null) {
      if (!to.isDirectory()) {
        return false;
      }
      // Into an existing directory, under the source's own name.
      d = new Path(d, s.getName());
      if (nativeStatus(mount.toLocal(d)) != null) {
        return false;
      }
    } else {
      Path parent = d.getParent();
      LocatedFileStatus p = parent == null ? null : nativeStatus(mount.toLocal(parent));
      if (p == null || !p.isDirectory()) {
        return false;
      }
    }
    String dstLocal = mount.toLocal(d);
    return connections.call(c -> nRename(c, srcLocal, dstLocal));
  }

  @Override
  public FileStatus[] listStatus(Path f) throws IOException {
    return KelpStatuses.plain(list(makeQualified(f), false));
  }

  private List<FileStatus> list(Path q, boolean located) throws IOException {
    String local = mount.toLocal(q);
    LocatedFileStatus[] entries = nativeListing(local, located, listThreads, listThreshold);
    if (entries == null || entries.length == 0) {
      LocatedFileStatus s = nativeStatus(local);
      if (s == null) {
        throw missing(q, local);
      }
      if (!s.isDirectory()) {
        FileStatus plain = KelpStatuses.withPath(s, q);
        List<FileStatus> one = new ArrayList<>(1);
        one.add(located
            ? new LocatedFileStatus(plain, getFileBlockLocations(plain, 0, s.getLen()))
            : plain);
        return one;
      }
      if (entries == null) {
        return new ArrayList<>();
      }
    }
    return KelpStatuses.listing(entries, mount, located);
  }

  /** The native listing of a local directory, as the native side gives it. */
  LocatedFileStatus[] nativeListing(String local, boolean located, int threads, int threshold)
      throws IOException {
    long blockSize = getDefaultBlockSize();
    return connections.call(c -> nListStatus(c, local, threads, threshold, located, user, actAs,
        blockSize));
  }

  @Override
  protected RemoteIterator<LocatedFileStatus> listLocatedStatus(Path f, PathFilter filter)
      throws IOException {
    return KelpStatuses.iterator(list(makeQualified(f), true), filter);
  }

  @Override
  public BlockLocation[] getFileBlockLocations(FileStatus file, long start, long len)
      throws IOException {
    if (file == null) {
      return null;
    }
    if (start < 0 || len < 0) {
      throw new IllegalArgumentException("Invalid start or len parameter");
    }
    if (file.isDirectory() || file.getLen() <= start) {
      return new BlockLocation[0];
    }
    String local = local(file.getPath());
    long blockSize = file.getBlockSize() > 0 ? file.getBlockSize() : getDefaultBlockSize();
    BlockLocation[] blocks = connections.call(
        c -> nGetFileBlockLocations(c, local, start, len, blockSize));
    if (blocks == null) {
      // No block map to be had (the disk listing cannot run): this host, as for any local file.
      return super.getFileBlockLocations(file, start, len);
    }
    return blocks;
  }

  @Override
  public void setOwner(Path p, String username, String groupname) throws IOException {
    Path q = makeQualified(p);
    String local = mount.toLocal(q);
    if (!connections.call(c -> nChown(c, local, username, groupname))) {
      if (nativeStatus(local) == null) {
        throw missing(q, local);
      }
      throw new IOException("Cannot change the owner of " + q + " to " + username + ":"
          + groupname + " (unknown user or group, or not permitted)");
    }
  }

  @Override
  public void setPermission(Path p, FsPermission permission) throws IOException {
    Path q = makeQualified(p);
    String local = mount.toLocal(q);
    int mode = permission.toShort() & 07777;
    if (!connections.call(c -> nChmod(c, local, mode))) {
      throw refused("Cannot change the permission of", q, local);
    }
  }

  @Override
  public boolean setReplication(Path p, short replication) throws IOException {
    Path q = makeQualified(p);
    String local = mount.toLocal(q);
    FileStatus s = getFileStatus(q);
    if (s.isDirectory()) {
      return false;
    }
    return connections.call(c -> nSetReplication(c, local, replication));
  }

  @Override
  public void setTimes(Path p, long mtime, long atime) throws IOException {
    throw new UnsupportedOperationException("Kelp cannot set the times of " + p);
  }

  @Override
  public void concat(Path trg, Path[] psrcs) throws IOException {
    throw new UnsupportedOperationException("Kelp cannot concatenate files");
  }

  @Override
  public boolean truncate(Path f, long newLength) throws IOException {
    throw new UnsupportedOperationException("Kelp cannot truncate " + f);
  }

  // ---------------------------------------------------------------------------------------
  // Details.

  private KELPDetails details() {
    if (!detailsRead) {
      synchronized (detailsLock) {
        if (!detailsRead) {
          // The details never go through the daemon, whatever the connection.
          details = nGetDetails(LOCAL, mount.mount());
          detailsRead = true;
        }
      }
    }
    return details;
  }

  /** The file system's details (block size, replication, factor), or null when unknown. */
  public KELPDetails getDetails() {
    return details();
  }

  @Override
  @SuppressWarnings("deprecation")
  public long getDefaultBlockSize() {
    KELPDetails d = details();
    if (d != null && d.getBlockSize() > 0) {
      return d.getBlockSize();
    }
    return getConf().getLongBytes(BLOCK_SIZE_KEY, 262144);
  }

  @Override
  public long getDefaultBlockSize(Path f) {
    return getDefaultBlockSize();
  }

  @Override
  @SuppressWarnings("deprecation")
  public short getDefaultReplication() {
    KELPDetails d = details();
    return (short) (d != null && d.getDataReplicas() > 0 ? d.getDataReplicas() : 1);
  }

  @Override
  public short getDefaultReplication(Path path) {
    return getDefaultReplication();
  }

  // ---------------------------------------------------------------------------------------
  // Snapshots (dir/.snapshot/name), ACLs, extended attributes and symbolic links.

  @Override
  public Path createSnapshot(Path path, String snapshotName) throws IOException {
    return snapshots.createSnapshot(path, snapshotName);
  }

  @Override
  public void renameSnapshot(Path path, String oldName, String newName) throws IOException {
    snapshots.renameSnapshot(path, oldName, newName);
  }

  @Override
  public void deleteSnapshot(Path path, String snapshotName) throws IOException {
    snapshots.deleteSnapshot(path, snapshotName);
  }

  @Override
  public AclStatus getAclStatus(Path path) throws IOException {
    return attributes.getAclStatus(path);
  }

  @Override
  public void setAcl(Path path, List<AclEntry> aclSpec) throws IOException {
    attributes.setAcl(path, aclSpec);
  }

  @Override
  public void modifyAclEntries(Path path, List<AclEntry> aclSpec) throws IOException {
    attributes.modifyAclEntries(path, aclSpec);
  }

  @Override
  public void removeAclEntries(Path path, List<AclEntry> aclSpec) throws IOException {
    attributes.removeAclEntries(path, aclSpec);
  }

  @Override
  public void removeAcl(Path path) throws IOException {
    attributes.removeAcl(path);
  }

  @Override
  public void removeDefaultAcl(Path path) throws IOException {
    attributes.removeDefaultAcl(path);
  }

  @Override
  public byte[] getXAttr(Path path, String name) throws IOException {
    return attributes.getXAttr(path, name);
  }

  @Override
  public Map<String, byte[]> getXAttrs(Path path, List<String> names) throws IOException {
    return attributes.getXAttrs(path, names);
  }

  @Override
  public void setXAttr(Path path, String name, byte[] value, EnumSet<XAttrSetFlag> flag)
      throws IOException {
    attributes.setXAttr(path, name, value, flag);
  }

  @Override
  public boolean supportsSymlinks() {
    return true;
  }

  @Override
  public void createSymlink(Path target, Path link, boolean createParent) throws IOException {
    links.createSymlink(target, link, createParent);
  }

  @Override
  public FileStatus getFileLinkStatus(Path f) throws IOException {
    return links.getFileLinkStatus(f);
  }

  @Override
  public Path getLinkTarget(Path f) throws IOException {
    return links.getLinkTarget(f);
  }

  @Override
  protected Path resolveLink(Path f) throws IOException {
    return links.getLinkTarget(f);
  }

  @Override
  public boolean hasPathCapability(Path path, String capability) throws IOException {
    switch (org.apache.hadoop.fs.impl.PathCapabilitiesSupport.validatePathCapabilityArgs(
        makeQualified(path), capability)) {
      case CommonPathCapabilities.FS_APPEND:
      case CommonPathCapabilities.FS_ACLS:
      case CommonPathCapabilities.FS_XATTRS:
      case CommonPathCapabilities.FS_PERMISSIONS:
      case CommonPathCapabilities.FS_SNAPSHOTS:
      case CommonPathCapabilities.FS_SYMLINKS:
        return true;
      case CommonPathCapabilities.FS_CONCAT:
      case CommonPathCapabilities.FS_TRUNCATE:
        return false;
      default:
        return super.hasPathCapability(path, capability);
    }
  }

  // ---------------------------------------------------------------------------------------
  // Native methods: the connection value comes first (LOCAL, or a daemon connection).

  // Connection.
  public native int nConnect(String userName, String actAsUser);
  public native boolean nClose(int conn);

  // Namespace.
  public native FileDescriptor nOpen(int conn, String path);
  public native FileDescriptor nCreate(int conn, String path, int mode, int replication,
      boolean overwrite, int blockGroupFactor);
  public native FileDescriptor nAppend(int conn, String path);
  public native boolean nExists(int conn, String path);
  public native boolean nMkdirs(int conn, String path, int mode);
  public native boolean nDelete(int conn, String path, boolean recursive) throws IOException;
  public native boolean nRename(int conn, String src, String dst) throws IOException;
  public native boolean nChown(int conn, String path, String user, String group);
  public native boolean nChmod(int conn, String path, int mode);
  public native String nResolveSymlink(int conn, String path);
  public native String nReadSymlink(int conn, String path);
  public native boolean nCreateSymlink(int conn, String target, String link);

  // Namespace on behalf of a named user and group.
  public native FileDescriptor nCreateAs(int conn, String path, int mode, int replication,
      boolean overwrite, String user, String group, int blockGroupFactor);
  public native FileDescriptor nAppendAs(int conn, String path, String user, String group);
  public native boolean nMkdirsAs(int conn, String path, int mode, String user, String group);
  public native boolean nCreateSymlinkAs(int conn, String target, String link, String user,
      String group);

  // Status, listing and block placement.
  public native LocatedFileStatus nGetFileStatus(int conn, String path, long defaultBlockSize);
  public native LocatedFileStatus[] nListStatus(int conn, String path, int threadCount,
      int threadThreshold, boolean located, String user, String proxyUser,
      long defaultBlockSize);
  public native int nGetInitInfo();
  public native BlockLocation[] nGetFileBlockLocations(int conn, String path, long start,
      long len, long blockSize);

  // File-system details, replication and block-group factor.
  public native KELPDetails nGetDetails(int conn, String path);
  public native boolean nSetReplication(int conn, String path, short replication);
  public native boolean nSetBlockGroupFactor(int conn, String path, int factor);

  // Snapshots.
  public native String nCreateSnapshot(int conn, String dir, String snapshotName,
      String linkName) throws IOException;
  public native String nCreateSnapshotAs(int conn, String dir, String snapshotName,
      String linkName, String user, String group) throws IOException;
  public native boolean nDeleteSnapshot(int conn, String dir, String linkName) throws IOException;
  public native boolean nRenameSnapshot(int conn, String dir, String oldLinkName,
      String newLinkName);

  // POSIX ACLs: the modifying methods return 1 on success, 0 on failure.
  public native KELPAclStatus nGetAclStatus(int conn, String path) throws IOException;
  public native int nSetAcl(int conn, String path, KELPAclEntry[] entries) throws IOException;
  public native int nModifyAclEntries(int conn, String path, KELPAclEntry[] entries) throws IOException;
  public native int nRemoveAclEntries(int conn, String path, KELPAclEntry[] entries) throws IOException;
  public native int nRemoveAcl(int conn, String path) throws IOException;
  public native int nRemoveDefaultAcl(int conn, String path) throws IOException;

  // Extended attributes: set returns 1 on success, 0 on failure.
  public native int nSetExtendedAttribute(int conn, String path, String name, String value) throws IOException;
  public native String nGetExtendedAttribute(int conn, String path, String name) throws IOException;
}
