package org.apache.hadoop.fs.kelp.demo;

import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import org.apache.hadoop.fs.kelp.KELPAclEntry;
import org.apache.hadoop.fs.kelp.KELPAclStatus;
import org.apache.hadoop.fs.kelp.KelpFileSystem;

final class AclDemo {
  private static final int USER = 0;
  private static final int GROUP = 1;
  private static final int ACCESS = 0;
  private static final int DEFAULT = 1;

  private AclDemo() {}

  static void run(KelpFileSystem fs, String root) throws Exception {
    Demo.section("POSIX ACLs");
    Path dir = Paths.get(root, "acl");
    Files.createDirectories(dir);
    Path report = dir.resolve("report.csv");
    if (!Files.exists(report)) {
      Files.write(report, "quarter,revenue\n".getBytes(StandardCharsets.UTF_8));
    }
    String file = report.toString();

    int granted;
    try {
      granted = fs.nModifyAclEntries(KelpFileSystem.LOCAL, file,
          new KELPAclEntry[] {new KELPAclEntry(USER, "kelpuser1", 6, ACCESS)});
    } catch (Exception e) {
      Demo.say("ACL support is not available here: %s", e.getMessage());
      return;
    }
    Demo.say("grant kelpuser1 read+write on %s: %s", file, granted == 1 ? "done" : "failed");
    print(fs, file);

    int inherited = fs.nModifyAclEntries(KelpFileSystem.LOCAL, dir.toString(),
        new KELPAclEntry[] {new KELPAclEntry(GROUP, "kelpgrp1", 5, DEFAULT)});
    Demo.say("new files in %s give kelpgrp1 read+execute: %s", dir,
        inherited == 1 ? "done" : "failed");
    print(fs, dir.toString());

    int removed = fs.nRemoveAcl(KelpFileSystem.LOCAL, file);
    Demo.say("strip the extended ACL of %s: %s", file, removed == 1 ? "done" : "failed");
    print(fs, file);
  }

  private static void print(KelpFileSystem fs, String path) throws java.io.IOException {
    KELPAclStatus status = fs.nGetAclStatus(KelpFileSystem.LOCAL, path);
    if (status == null) {
      Demo.say("  %s: ACL unreadable", path);
      return;
    }
    Demo.say("  %s  owner %s, group %s%s", path, status.getOwner(), status.getGroup(),
        status.isStickyBit() ? ", sticky" : "");
    if (status.getEntries().length == 0) {
      Demo.say("    (no entries beyond the mode bits)");
    }
    for (KELPAclEntry e : status.getEntries()) {
      Demo.say("    %s", e);
    }
  }
}
