package org.apache.hadoop.fs.kelp;

import java.io.FileDescriptor;
import java.io.IOException;
import org.apache.hadoop.fs.BlockLocation;
import org.apache.hadoop.fs.LocatedFileStatus;

/**
 * Native half of the Kelp file-system binding. Every namespace method takes a connection
 * value first: {@link #LOCAL} to work with the rights of this process, or the socket returned
 * by {@link #nConnect} to have the privileged helper daemon do the work.
 */
public class KelpFileSystem {
  /** Connection value meaning "no helper daemon: work locally". */
  public static final int LOCAL = -42;

  static {
    System.loadLibrary("kelphadoopmap");
  }

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
