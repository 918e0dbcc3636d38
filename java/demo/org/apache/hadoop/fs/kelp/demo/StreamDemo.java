package org.apache.hadoop.fs.kelp.demo;

import java.io.ByteArrayOutputStream;
import java.io.File;
import java.io.FileOutputStream;
import java.io.IOException;
import java.io.InputStream;
import java.nio.charset.StandardCharsets;
import java.nio.file.DirectoryStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import org.apache.hadoop.fs.kelp.KELPDataOutputStream;
import org.apache.hadoop.fs.kelp.KelpFileSystem;

/** Extended attributes, and making an output stream's data durable. */
final class StreamDemo {
  /** A mount of the sandbox without extended-attribute support. */
  private static final String NO_XATTR_MOUNT = "/mnt/noacl";

  private StreamDemo() {}

  static void run(KelpFileSystem fs, String root) throws Exception {
    Path dir = Paths.get(root, "stream");
    Files.createDirectories(dir);
    String file = dir.resolve("events.log").toString();
    Files.write(Paths.get(file), new byte[0]);
    attributes(fs, file);
    durability(file);
  }

  private static void attributes(KelpFileSystem fs, String file) throws IOException {
    Demo.section("Extended attributes");
    int rc = fs.nSetExtendedAttribute(KelpFileSystem.LOCAL, file, "user.pipeline", "nightly-etl");
    Demo.say("set user.pipeline = \"nightly-etl\" on %s -> %d", file, rc);
    Demo.say("get user.pipeline -> \"%s\"",
        fs.nGetExtendedAttribute(KelpFileSystem.LOCAL, file, "user.pipeline"));
    fs.nSetExtendedAttribute(KelpFileSystem.LOCAL, file, "user.pipeline", "hourly");
    Demo.say("set it again to \"hourly\" (replaces) -> get gives \"%s\"",
        fs.nGetExtendedAttribute(KelpFileSystem.LOCAL, file, "user.pipeline"));
    fs.nSetExtendedAttribute(KelpFileSystem.LOCAL, file, "user.reviewed", "");
    Demo.say("an empty value reads back as \"%s\" (empty, not null)",
        fs.nGetExtendedAttribute(KelpFileSystem.LOCAL, file, "user.reviewed"));
    Demo.say("get user.owner-team (never set) -> %s, and no exception",
        fs.nGetExtendedAttribute(KelpFileSystem.LOCAL, file, "user.owner-team"));

    Path plain = Paths.get(NO_XATTR_MOUNT, "stream-demo.txt");
    Files.write(plain, new byte[0]);
    try {
      fs.nSetExtendedAttribute(KelpFileSystem.LOCAL, plain.toString(), "user.pipeline", "x");
      Demo.say("set on %s unexpectedly succeeded", plain);
    } catch (IOException e) {
      Demo.say("set on %s (no attribute support) raised IOException \"%s\"", plain,
          e.getMessage());
    } finally {
      Files.deleteIfExists(plain);
    }
  }

  private static void durability(String file) throws IOException, InterruptedException {
    Demo.section("Output stream sync and preallocation");
    byte[] data = "2024-05-01T00:00:00 job started\n".getBytes(StandardCharsets.UTF_8);
    try (FileOutputStream raw = new FileOutputStream(file);
        KELPDataOutputStream out = new KELPDataOutputStream(file, raw.getFD())) {
      out.write(data, 0, data.length);
      out.flush();
      Demo.say("wrote %d bytes to %s through a KELPDataOutputStream", data.length, file);
      Demo.say("kelp_fsync_range(0, %d) -> %d (the file system's range sync)", data.length,
          out.kelp_fsync_range(file, 0, data.length));
      Demo.say("kelp_fdatasync -> %d", out.kelp_fdatasync(file));
      out.hsync();
      Demo.say("hsync() flushed and synced; descriptors this process has on the file: %d"
          + " (the stream's and the one write descriptor the syncs share)", openOn(file));
      Demo.say("kelp_preallocate(4 MiB) -> %d", out.kelp_preallocate(file, 4L << 20));
      Demo.say("the file now: %s", run("stat", "-c", "%s bytes long, %b blocks of %B bytes reserved",
          file).trim());
      Demo.say("kelp_fdatasync of a file that does not exist -> %d (cannot open)",
          out.kelp_fdatasync(file + ".missing"));
    }
    Demo.say("after the stream closed, the sync cache still holds %d descriptor(s) on it",
        openOn(file));

    File kelpsim = new File(System.getProperty("kelp.sim.tool", "kelpsim"));
    if (kelpsim.canExecute()) {
      Demo.say("what the simulated file system received for it (kelpsim log):");
      for (String line : run(kelpsim.getPath(), "log").split("\n")) {
        if (line.contains(" " + file + " ")) {
          Demo.say("  %s", line.replaceFirst(" pid=\\d+", ""));
        }
      }
    }
  }

  /** Descriptors of this process open on {@code file}. */
  private static int openOn(String file) throws IOException {
    int n = 0;
    try (DirectoryStream<Path> fds = Files.newDirectoryStream(Paths.get("/proc/self/fd"))) {
      for (Path fd : fds) {
        try {
          if (Files.readSymbolicLink(fd).toString().equals(file)) {
            n++;
          }
        } catch (IOException e) {
          // closed while we looked (the directory stream's own descriptor)
        }
      }
    }
    return n;
  }

  /** Runs a command (no shell) and returns its standard output. */
  private static String run(String... command) throws IOException, InterruptedException {
    Process p = new ProcessBuilder(command).redirectErrorStream(true).start();
    ByteArrayOutputStream text = new ByteArrayOutputStream();
    try (InputStream in = p.getInputStream()) {
      in.transferTo(text);
    }
    p.waitFor();
    return text.toString(StandardCharsets.UTF_8);
  }
}
