package org.apache.hadoop.fs.kelp.demo;

import java.io.FileDescriptor;
import java.io.FileOutputStream;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.nio.file.attribute.PosixFileAttributes;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.stream.Stream;
import org.apache.hadoop.fs.kelp.KelpFileSystem;

/** Namespace work done by the privileged helper daemon on behalf of another user. */
final class DaemonDemo {
  private DaemonDemo() {}

  static void run(KelpFileSystem fs, String root) throws Exception {
    Demo.section("Through the helper daemon, on behalf of kelpuser1");
    String me = System.getProperty("user.name");
    int conn = fs.nConnect(me, "kelpuser1");
    if (conn < 0) {
      Demo.say("nConnect(%s, act as kelpuser1) -> %d: no helper daemon here, nothing to show", me,
          conn);
      return;
    }
    Demo.say("nConnect(%s, act as kelpuser1) -> socket %d (acting for someone always keeps it)",
        me, conn);

    String base = root + "/daemon";
    String reports = base + "/reports";
    String file = reports + "/summary.txt";
    FileDescriptor fd = fs.nCreateAs(conn, file, 0644, 0, false, "kelpuser1", "kelpgrp1", 0);
    Demo.say("nCreateAs %s for kelpuser1:kelpgrp1 -> %s", file,
        fd != null ? "a descriptor passed back by the daemon" : "null");
    if (fd != null) {
      try (FileOutputStream out = new FileOutputStream(fd)) {
        out.write("written through the daemon's descriptor\n".getBytes(StandardCharsets.UTF_8));
      }
    }
    Demo.say("nMkdirsAs %s/archive -> %s", reports,
        fs.nMkdirsAs(conn, reports + "/archive", 0755, "kelpuser1", "kelpgrp1"));
    Demo.say("nExists %s through the daemon -> %s", file, fs.nExists(conn, file));

    Demo.say("what was made (%s existed before and keeps its owner; directories a create"
        + " makes take the file's mode):", root);
    try (Stream<Path> paths = Files.walk(Paths.get(base))) {
      for (Path p : (Iterable<Path>) paths.sorted()::iterator) {
        PosixFileAttributes a = Files.readAttributes(p, PosixFileAttributes.class);
        Demo.say("  %s %s:%s %s%s", PosixFilePermissions.toString(a.permissions()),
            a.owner().getName(), a.group().getName(), p,
            a.isRegularFile() ? " (" + a.size() + " bytes)" : "");
      }
    }
    Demo.say("nClose(%d) -> %s", conn, fs.nClose(conn));
  }
}
