package org.apache.hadoop.fs.kelp;

import static org.junit.Assert.assertEquals;
import static org.junit.Assert.assertTrue;
import static org.junit.Assert.fail;
import static org.junit.Assume.assumeTrue;

import java.io.IOException;
import java.util.Arrays;
import java.util.Collections;
import java.util.List;
import org.apache.hadoop.fs.FSDataOutputStream;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.permission.AclEntry;
import org.apache.hadoop.fs.permission.AclEntryScope;
import org.apache.hadoop.fs.permission.AclEntryType;
import org.apache.hadoop.fs.permission.FsAction;
import org.junit.Test;

/**
 * Runs in a JVM whose libacl.so lacks a function the library needs (surefire's noacl-test run):
 * every ACL method raises the library's own text, and everything else still works.
 */
public class TestKelpAclUnavailable {
  private interface AclCall {
    void run(FileSystem fs, Path p) throws IOException;
  }

  @Test
  public void everyAclMethodRaisesTheLibraryText() throws IOException {
    assumeTrue("needs the broken libacl.so of the noacl-test run",
        System.getProperty("kelp.acl.broken") != null);
    FileSystem fs = KelpTestEnv.newFileSystem();
    Path f = new Path("/acl-unavailable/f");
    try (FSDataOutputStream out = fs.create(f, true)) {
      out.write(1);
    }
    List<AclEntry> entries = Collections.singletonList(new AclEntry.Builder()
        .setType(AclEntryType.USER).setName("kelpuser1").setPermission(FsAction.READ)
        .setScope(AclEntryScope.ACCESS).build());
    List<AclCall> calls = Arrays.asList(
        (s, p) -> s.getAclStatus(p),
        (s, p) -> s.setAcl(p, entries),
        (s, p) -> s.modifyAclEntries(p, entries),
        (s, p) -> s.removeAclEntries(p, entries),
        (s, p) -> s.removeAcl(p),
        (s, p) -> s.removeDefaultAcl(p));
    for (AclCall call : calls) {
      try {
        call.run(fs, f);
        fail("an ACL method worked without libacl");
      } catch (IOException e) {
        assertEquals("Failed to load libacl", e.getMessage());
      }
    }
    assertEquals(1, fs.getFileStatus(f).getLen());
    assertTrue(fs.delete(f.getParent(), true));
  }
}
