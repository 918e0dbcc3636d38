package org.apache.hadoop.fs.kelp;

import static org.junit.Assert.assertArrayEquals;
import static org.junit.Assert.assertEquals;
import static org.junit.Assert.assertFalse;
import static org.junit.Assert.assertNotNull;
import static org.junit.Assert.assertTrue;
import static org.junit.Assert.fail;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Paths;
import java.security.PrivilegedExceptionAction;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.EnumSet;
import java.util.HashSet;
import java.util.List;
import java.util.Set;
import org.apache.hadoop.fs.BlockLocation;
import org.apache.hadoop.fs.FSDataInputStream;
import org.apache.hadoop.fs.FSDataOutputStream;
import org.apache.hadoop.fs.FileStatus;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.LocatedFileStatus;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.RemoteIterator;
import org.apache.hadoop.fs.XAttrSetFlag;
import org.apache.hadoop.fs.permission.AclEntry;
import org.apache.hadoop.fs.permission.AclEntryScope;
import org.apache.hadoop.fs.permission.AclEntryType;
import org.apache.hadoop.fs.permission.AclStatus;
import org.apache.hadoop.fs.permission.FsAction;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.security.AccessControlException;
import org.apache.hadoop.security.UserGroupInformation;
import org.junit.After;
import org.junit.Before;
import org.junit.Test;

/** kelp:// as Hadoop code sees it, in this JVM's mode (local or through the daemon). */
public class TestKelpFileSystem {
  private FileSystem fs;
  private Path base;

  @Before
  public void setUp() throws IOException {
    fs = KelpTestEnv.newFileSystem();
    base = new Path("kelp:///kelp-fs-test-" + (KelpTestEnv.daemonMode() ? "daemon" : "local"));
    fs.delete(base, true);
    assertTrue(fs.mkdirs(base));
  }

  @After
  public void tearDown() throws IOException {
    fs.delete(base, true);
  }

  private void write(Path p, byte[] data) throws IOException {
    try (FSDataOutputStream out = fs.create(p, true)) {
      out.write(data);
    }
  }

  private byte[] read(Path p) throws IOException {
    FileStatus s = fs.getFileStatus(p);
    byte[] b = new byte[(int) s.getLen()];
    try (FSDataInputStream in = fs.open(p)) {
      in.readFully(0, b);
    }
    return b;
  }

  @Test
  public void pathsMapOntoTheMountAndComeBackAsKelpPaths() throws IOException {
    KelpFileSystem kfs = (KelpFileSystem) fs;
    assertEquals("kelp:///", fs.getUri().toString());
    // The sandbox lists /mnt/kelp and /mnt/kelp2; the one that sorts first is the default.
    assertEquals("/mnt/kelp", kfs.getMountPoint());
    Path odd = new Path(base, new Path(null, null, "dir/a:b c"));
    write(odd, "x".getBytes(StandardCharsets.UTF_8));
    String local = "/mnt/kelp" + odd.toUri().getPath();
    assertTrue(Files.isRegularFile(Paths.get(local)));

    FileStatus[] listed = fs.listStatus(odd.getParent());
    assertEquals(1, listed.length);
    assertEquals(fs.makeQualified(odd), listed[0].getPath());
    assertEquals("kelp", listed[0].getPath().toUri().getScheme());
    assertEquals(fs.makeQualified(odd), fs.getFileStatus(odd).getPath());
    RemoteIterator<LocatedFileStatus> it = fs.listLocatedStatus(odd.getParent());
    assertEquals(fs.makeQualified(odd), it.next().getPath());
    assertFalse(it.hasNext());

    try {
      fs.getFileStatus(new Path("kelp:///../etc"));
      fail("a path above the mount was accepted");
    } catch (IllegalArgumentException expected) {
      // refused before anything is touched
    }
    try {
      fs.getFileStatus(new Path(base, "missing"));
      fail("status of a missing path");
    } catch (FileNotFoundException expected) {
      // as Hadoop specifies
    }
  }

  @Test
  public void locatedListingCarriesTheHostsOfEveryBlock() throws IOException {
    // 4 MiB blocks in the default scenario, replicas on kelpnode1..4.
    byte[] data = new byte[(int) (2.5 * 4 * 1024 * 1024)];
    Arrays.fill(data, (byte) 7);
    Path f = new Path(base, "blocks/f");
    write(f, data);
    write(new Path(base, "blocks/small"), new byte[10]);
    Set<String> nodes = new HashSet<>(
        Arrays.asList("kelpnode1", "kelpnode2", "kelpnode3", "kelpnode4"));
    RemoteIterator<LocatedFileStatus> it = fs.listLocatedStatus(f.getParent());
    int files = 0;
    while (it.hasNext()) {
      LocatedFileStatus s = it.next();
      files++;
      BlockLocation[] blocks = s.getBlockLocations();
      long expected = (s.getLen() + 4 * 1024 * 1024 - 1) / (4 * 1024 * 1024);
      assertEquals(s.getPath().toString(), expected, blocks.length);
      for (BlockLocation b : blocks) {
        assertEquals(s.getReplication(), b.getHosts().length);
        assertTrue(Arrays.toString(b.getHosts()), nodes.containsAll(Arrays.asList(b.getHosts())));
      }
    }
    assertEquals(2, files);
    BlockLocation[] direct = fs.getFileBlockLocations(fs.getFileStatus(f), 0, data.length);
    assertEquals(3, direct.length);
    assertEquals(8L * 1024 * 1024, direct[2].getOffset());
    assertEquals(0, fs.getFileBlockLocations(fs.getFileStatus(f), data.length, 10).length);
    assertEquals(4L * 1024 * 1024, fs.getDefaultBlockSize(f));
  }

  @Test
  public void aclsAndExtendedAttributesRoundTrip() throws IOException {
    Path f = new Path(base, "acl/f");
    write(f, new byte[1]);
    fs.setPermission(f, new FsPermission((short) 0640));
    assertFalse(fs.getFileStatus(f).hasAcl());
    AclEntry named = new AclEntry.Builder().setType(AclEntryType.USER).setName("kelpuser1")
        .setPermission(FsAction.READ_EXECUTE).setScope(AclEntryScope.ACCESS).build();
    fs.modifyAclEntries(f, Arrays.asList(named));
    AclStatus acl = fs.getAclStatus(f);
    assertTrue(acl.getEntries().toString(), acl.getEntries().contains(named));
    assertEquals("root", acl.getOwner());
    assertTrue(fs.getFileStatus(f).hasAcl());
    fs.removeAclEntries(f, Arrays.asList(new AclEntry.Builder().setType(AclEntryType.USER)
        .setName("kelpuser1").setScope(AclEntryScope.ACCESS).build()));
    assertFalse(fs.getAclStatus(f).getEntries().contains(named));
    fs.removeAcl(f);
    assertFalse(fs.getFileStatus(f).hasAcl());

    fs.setXAttr(f, "user.team", "etl".getBytes(StandardCharsets.UTF_8));
    assertArrayEquals("etl".getBytes(StandardCharsets.UTF_8), fs.getXAttr(f, "user.team"));
    try {
      fs.setXAttr(f, "user.team", new byte[] {'x'}, EnumSet.of(XAttrSetFlag.CREATE));
      fail("CREATE over an existing attribute");
    } catch (IOException expected) {
      assertTrue(expected.getMessage().contains("already exists"));
    }
    fs.setXAttr(f, "user.team", "ops".getBytes(StandardCharsets.UTF_8),
        EnumSet.of(XAttrSetFlag.REPLACE));
    assertEquals("ops", new String(fs.getXAttrs(f, Arrays.asList("user.team")).get("user.team"),
        StandardCharsets.UTF_8));
    try {
      fs.getXAttr(f, "user.none");
      fail("a missing attribute was read");
    } catch (IOException expected) {
      assertFalse(expected instanceof FileNotFoundException);
    }
    try {
      fs.listXAttrs(f);
      fail("listing attributes");
    } catch (UnsupportedOperationException expected) {
      // the natives read attributes by name only
    }
  }

  @Test
  public void snapshotsAppearUnderDotSnapshot() throws IOException {
    Path dir = new Path(base, "snap");
    Path f = new Path(dir, "f");
    write(f, "before".getBytes(StandardCharsets.UTF_8));
    Path s1 = fs.createSnapshot(dir, "s1");
    assertEquals(fs.makeQualified(new Path(dir, ".snapshot/s1")), s1);
    write(f, "after".getBytes(StandardCharsets.UTF_8));
    assertEquals("before", new String(read(new Path(s1, "f")), StandardCharsets.UTF_8));
    assertEquals("after", new String(read(f), StandardCharsets.UTF_8));
    // The listing leaves the snapshot folder out.
    assertEquals(1, fs.listStatus(dir).length);

    fs.renameSnapshot(dir, "s1", "s2");
    Path s2 = new Path(dir, ".snapshot/s2");
    assertEquals("before", new String(read(new Path(s2, "f")), StandardCharsets.UTF_8));
    assertFalse(fs.exists(s1));
    fs.deleteSnapshot(dir, "s2");
    assertFalse(fs.exists(s2));
  }

  @Test
  public void nativeExceptionTextsReachTheCaller() throws IOException {
    Path dir = new Path(base, "texts");
    write(new Path(dir, "f"), new byte[3]);
    fs.createSnapshot(dir, "keep");
    List<String> texts = new ArrayList<>();
    try {
      fs.delete(dir, true);
      fail("a directory holding snapshots was deleted");
    } catch (IOException e) {
      texts.add(e.getMessage());
    }
    try {
      fs.createSnapshot(dir, "keep");
      fail("a snapshot name was taken twice");
    } catch (IOException e) {
      texts.add(e.getMessage());
    }
    fs.deleteSnapshot(dir, "keep");
    try {
      fs.deleteSnapshot(dir, "keep");
      fail("a snapshot was deleted twice");
    } catch (IOException e) {
      texts.add(e.getMessage());
    }
    char[] longName = new char[300];
    Arrays.fill(longName, 'n');
    try {
      fs.rename(new Path(dir, "f"), new Path(dir, new String(longName)));
      fail("rename to a name the system refuses");
    } catch (IOException e) {
      texts.add(e.getMessage());
    }
    try {
      fs.setXAttr(new Path(dir, "f"), "nonamespace", new byte[] {'v'});
      fail("an attribute outside every namespace was set");
    } catch (IOException e) {
      texts.add(e.getMessage());
    }
    assertEquals(Arrays.asList(
        "One or more snapshots exist for this directory.\t\t   Before removing a directory, "
            + "all snapshots for that directory must be deleted.",
        "Failed to create Snapshot", "Failed to delete Snapshot", " Rename failed. Cause: 2\n",
        "setxattr failed."), texts);
    assertTrue(fs.delete(dir, true));
  }

  @Test
  public void symbolicLinksPointAtKelpPaths() throws IOException {
    Path target = fs.makeQualified(new Path(base, "links/target"));
    write(target, "body".getBytes(StandardCharsets.UTF_8));
    Path link = new Path(base, "links/more/link");
    fs.createSymlink(target, link, true);
    FileStatus ls = fs.getFileLinkStatus(link);
    assertTrue(ls.isSymlink());
    assertEquals(target, ls.getSymlink());
    assertEquals(target, fs.getLinkTarget(link));
    assertEquals("body", new String(read(link), StandardCharsets.UTF_8));
    try {
      fs.createSymlink(target, link, false);
      fail("a link over an existing one");
    } catch (IOException expected) {
      assertTrue(expected instanceof org.apache.hadoop.fs.FileAlreadyExistsException);
    }
    assertTrue(fs.delete(link, false));
    assertFalse(fs.exists(link));
    assertTrue(fs.exists(target));
  }

  @Test
  public void proxyUsersWorkThroughTheDaemonOnly() throws Exception {
    UserGroupInformation proxy = UserGroupInformation.createProxyUser("kelpuser1",
        UserGroupInformation.getCurrentUser());
    Path f = new Path(base, "proxy/f");
    proxy.doAs((PrivilegedExceptionAction<Void>) () -> {
      if (!KelpTestEnv.daemonMode()) {
        try {
          FileSystem.newInstance(KelpTestEnv.ROOT, KelpTestEnv.conf());
          fail("acting for another user without the daemon");
        } catch (AccessControlException expected) {
          // the real user's rights must not stand in for the proxied user's
        }
        return null;
      }
      try (FileSystem pfs = FileSystem.newInstance(KelpTestEnv.ROOT, KelpTestEnv.conf())) {
        try (FSDataOutputStream out = pfs.create(f, true)) {
          out.write(1);
        }
        assertEquals("kelpuser1", pfs.getFileStatus(f).getOwner());
        assertEquals("kelpuser1", pfs.getFileStatus(f.getParent()).getOwner());
      }
      return null;
    });
  }

  @Test
  public void whatKelpCannotDoIsUnsupported() throws IOException {
    Path f = new Path(base, "unsupported");
    write(f, new byte[1]);
    for (Runnable r : Arrays.<Runnable>asList(
        () -> call(() -> fs.setTimes(f, 0, 0)),
        () -> call(() -> fs.concat(f, new Path[] {f})),
        () -> call(() -> fs.truncate(f, 0)))) {
      try {
        r.run();
        fail("no UnsupportedOperationException");
      } catch (UnsupportedOperationException expected) {
        // as Hadoop's own file systems do
      }
    }
    assertNotNull(fs.getFileStatus(f));
  }

  private interface IoCall {
    void run() throws IOException;
  }

  private static void call(IoCall c) {
    try {
      c.run();
    } catch (IOException e) {
      throw new AssertionError(e);
    }
  }
}
