package org.apache.hadoop.fs.kelp.demo;

import java.io.FileDescriptor;
import java.io.FileInputStream;
import java.io.FileOutputStream;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Paths;
import org.apache.hadoop.fs.kelp.KelpFileSystem;

/** Namespace work with the rights of this process (no helper daemon). */
final class NamespaceDemo {
  private NamespaceDemo() {}

  static void run(KelpFileSystem fs, String root) throws Exception {
    int local = KelpFileSystem.LOCAL;
    Demo.section("Namespace operations, locally (connection " + local + ")");

    String dir = root + "/data/2026";
    Demo.say("mkdirs %s -> %s", dir, fs.nMkdirs(local, dir, 0755));

    String file = dir + "/part-00000";
    FileDescriptor fd = fs.nCreate(local, file, 0644, 2, false, 5000);
    Demo.say("create %s (replication 2, block-group factor 5000) -> %s", file,
        fd != null ? "descriptor " + fd.valid() : "null");
    try (FileOutputStream out = new FileOutputStream(fd)) {
      out.write("hello, kelp\n".getBytes(StandardCharsets.UTF_8));
    }
    Demo.say("the file system recorded replication %s and block-group factor %s (clamped)",
        simAttr(file, "replication"), simAttr(file, "bgf"));
    Demo.say("create again without overwrite -> %s",
        fs.nCreate(local, file, 0644, 0, false, 0) == null ? "null (it exists)" : "a descriptor");

    FileDescriptor in = fs.nOpen(local, file);
    try (FileInputStream read = new FileInputStream(in)) {
      Demo.say("open and read back: %s", new String(read.readAllBytes(), StandardCharsets.UTF_8).trim());
    }
    FileDescriptor append = fs.nAppend(local, file);
    try (FileOutputStream out = new FileOutputStream(append)) {
      out.write("appended line\n".getBytes(StandardCharsets.UTF_8));
    }
    Demo.say("append, then the file holds %d lines", Files.readAllLines(Paths.get(file)).size());
    Demo.say("exists %s -> %s; exists %s/missing -> %s", file, fs.nExists(local, file), dir,
        fs.nExists(local, dir + "/missing"));

    Demo.say("chmod 0600 -> %s; chown to kelpuser1:kelpgrp1 -> %s", fs.nChmod(local, file, 0600),
        fs.nChown(local, file, "kelpuser1", "kelpgrp1"));
    Demo.say("owner now %s:%s, mode %s", Files.getOwner(Paths.get(file)).getName(),
        Files.readAttributes(Paths.get(file), java.nio.file.attribute.PosixFileAttributes.class)
            .group().getName(),
        java.nio.file.attribute.PosixFilePermissions.toString(
            Files.getPosixFilePermissions(Paths.get(file))));

    String link = root + "/latest";
    Demo.say("symlink %s -> %s: %s; read back: %s; resolved: %s", link, file,
        fs.nCreateSymlink(local, file, link), fs.nReadSymlink(local, link),
        fs.nResolveSymlink(local, root + "/data/../latest"));

    String moved = "/mnt/other/part-00000";
    Demo.say("rename %s to another device (%s) -> %s", file, moved, fs.nRename(local, file, moved));
    Demo.say("rename a file that is not there:");
    try {
      fs.nRename(local, root + "/no-such-file", root + "/elsewhere");
    } catch (IOException e) {
      Demo.say("  IOException: %s", e.getMessage().trim());
    }

    String snapped = root + "/snapped";
    fs.nMkdirs(local, snapped + "/.snapshot", 0755);
    Files.createSymbolicLink(Paths.get(snapped + "/.snapshot/daily"), Paths.get("/nowhere"));
    Demo.say("delete %s, which holds a snapshot:", snapped);
    try {
      fs.nDelete(local, snapped, true);
    } catch (IOException e) {
      Demo.say("  IOException: %s", e.getMessage().replace("\t", "\\t"));
    }
    Demo.say("delete %s non-recursively -> %s (not empty)", root + "/data", fs.nDelete(local, root + "/data", false));
    Demo.say("delete %s recursively -> %s", root + "/data", fs.nDelete(local, root + "/data", true));
  }

  /** A per-file attribute of the simulated file system, through its kelpsim tool. */
  static String simAttr(String path, String key) throws IOException, InterruptedException {
    String tool = System.getProperty("kelp.sim.tool", "kelpsim");
    Process p = new ProcessBuilder(tool, "get", path, key).redirectErrorStream(true).start();
    String out = new String(p.getInputStream().readAllBytes(), StandardCharsets.UTF_8).trim();
    return p.waitFor() == 0 ? out : "(none)";
  }
}
