package org.apache.hadoop.fs.kelp.demo;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.ArrayList;
import java.util.List;
import java.util.stream.Stream;
import org.apache.hadoop.fs.kelp.KelpFileSystem;

/** Directory snapshots: a file-system snapshot plus a link in the directory's .snapshot. */
final class SnapshotDemo {
  private SnapshotDemo() {}

  static void run(KelpFileSystem fs, String root) throws Exception {
    int local = KelpFileSystem.LOCAL;
    Demo.section("Directory snapshots, locally (as " + System.getProperty("user.name") + ")");

    String dir = root + "/projects/alpha";
    Path report = Paths.get(dir, "report.txt");
    fs.nMkdirs(local, dir, 0755);
    Files.writeString(report, "version 1\n");
    String link = fs.nCreateSnapshot(local, dir, "alpha-monday", "monday");
    Demo.say("nCreateSnapshot(%s, alpha-monday, monday) -> %s", dir, link);
    if (link == null) {
      return;
    }
    Files.writeString(report, "version 2\n");
    Demo.say("report.txt now reads \"%s\"; through the link it reads \"%s\"",
        Files.readString(report).trim(), Files.readString(Paths.get(link, "report.txt")).trim());
    list(dir);

    Demo.say("take another with the link name in use:");
    try {
      fs.nCreateSnapshot(local, dir, "alpha-again", "monday");
    } catch (IOException e) {
      Demo.say("  IOException: %s (no command ran)", e.getMessage());
    }
    Demo.say("nRenameSnapshot monday -> before-release: %s",
        fs.nRenameSnapshot(local, dir, "monday", "before-release"));
    Demo.say("nRenameSnapshot a link that is not there: %s",
        fs.nRenameSnapshot(local, dir, "monday", "anything"));

    int conn = fs.nConnect(System.getProperty("user.name"), "kelpuser1");
    if (conn >= 0) {
      String given = fs.nCreateSnapshotAs(conn, dir, "alpha-tuesday", "tuesday", "kelpuser1",
          "kelpgrp1");
      Demo.say("through the helper daemon, nCreateSnapshotAs(tuesday, for kelpuser1:kelpgrp1) -> %s,"
          + " link owned by %s", given,
          given == null ? "-" : Files.getOwner(Paths.get(given),
              java.nio.file.LinkOption.NOFOLLOW_LINKS).getName());
      list(dir);
      Demo.say("nDeleteSnapshot(tuesday) through the daemon -> %s",
          fs.nDeleteSnapshot(conn, dir, "tuesday"));
      fs.nClose(conn);
    }

    Demo.say("nDeleteSnapshot(before-release) -> %s; the image alpha-monday is %s",
        fs.nDeleteSnapshot(local, dir, "before-release"),
        Files.exists(Paths.get(Demo.MOUNT, ".snapshots", "alpha-monday")) ? "still there" : "gone");
    Demo.say("delete it again:");
    try {
      fs.nDeleteSnapshot(local, dir, "before-release");
    } catch (IOException e) {
      Demo.say("  IOException: %s", e.getMessage());
    }
    Demo.say("the administration commands that ran:");
    for (String line : snapshotCommands()) {
      Demo.say("  %s", line);
    }
  }

  /** The directory's snapshot links and the file system's snapshots. */
  private static void list(String dir) throws IOException {
    List<String> links = new ArrayList<>();
    try (Stream<Path> entries = Files.list(Paths.get(dir, ".snapshot"))) {
      for (Path p : (Iterable<Path>) entries.sorted()::iterator) {
        links.add(p.getFileName() + " -> " + Files.readSymbolicLink(p));
      }
    }
    List<String> images = new ArrayList<>();
    try (Stream<Path> entries = Files.list(Paths.get(Demo.MOUNT, ".snapshots"))) {
      entries.sorted().forEach(p -> images.add(p.getFileName().toString()));
    }
    Demo.say("links in %s/.snapshot: %s", dir, links);
    Demo.say("snapshots of %s: %s", Demo.MOUNT, images);
  }

  /** The runs of kpcrsnapshot and kpdelsnapshot the simulated cluster logged. */
  private static List<String> snapshotCommands() throws IOException, InterruptedException {
    String tool = System.getProperty("kelp.sim.tool", "kelpsim");
    Process p = new ProcessBuilder(tool, "invocations").redirectErrorStream(true).start();
    String out = new String(p.getInputStream().readAllBytes(), StandardCharsets.UTF_8);
    p.waitFor();
    List<String> lines = new ArrayList<>();
    for (String line : out.split("\n")) {
      if (line.contains("snapshot]")) {
        lines.add(line);
      }
    }
    return lines;
  }
}
