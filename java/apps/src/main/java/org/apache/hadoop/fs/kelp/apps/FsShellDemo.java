package org.apache.hadoop.fs.kelp.apps;

import java.io.IOException;
import java.io.PrintStream;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.util.ArrayList;
import java.util.List;

import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FsShell;
import org.apache.hadoop.util.ToolRunner;

/**
 * A session of Hadoop's own shell (what {@code hadoop fs} runs) on a file
 * system given by URI, printing each command line, its output and its exit
 * status. Commands the file system cannot carry out are shown with what the
 * shell prints for them; only the basic namespace commands must succeed.
 *
 * <p>Usage: {@code FsShellDemo BASE_URI} (for instance {@code kelp:///shell-demo}).
 */
public final class FsShellDemo {
  private final Configuration conf;
  private final PrintStream out;
  private final List<String> failures = new ArrayList<>();

  FsShellDemo(Configuration conf, PrintStream out) {
    this.conf = conf;
    this.out = out;
  }

  /** Runs one shell command and returns its exit status. */
  int fs(boolean mustSucceed, String... argv) {
    out.println("$ hadoop fs " + String.join(" ", quoted(argv)));
    out.flush();
    int rc;
    try {
      rc = ToolRunner.run(conf, new FsShell(conf), argv);
    } catch (Exception e) {
      // ToolRunner lets option-parsing errors through; the shell itself
      // prints and returns a status for everything else.
      System.err.println(e);
      rc = -1;
    }
    System.out.flush();
    System.err.flush();
    out.println("(exit " + rc + ")");
    out.println();
    if (rc != 0 && mustSucceed) {
      failures.add(String.join(" ", argv));
    }
    return rc;
  }

  private static List<String> quoted(String[] argv) {
    List<String> words = new ArrayList<>();
    for (String a : argv) {
      words.add(a.isEmpty() || a.matches(".*[\\s%*?'\"].*") ? "'" + a + "'" : a);
    }
    return words;
  }

  /** The whole session under {@code base}; returns the commands that had to succeed and did not. */
  List<String> session(String base) throws IOException {
    java.nio.file.Path local = Files.createTempFile("fsshell-demo", ".txt");
    try {
      Files.write(local, ("Kelp through Hadoop's own shell.\n"
          + "Every line of this file went through put, and comes back through cat.\n")
          .getBytes(StandardCharsets.UTF_8));
      String dir = base + "/data";
      String archive = base + "/archive";
      String file = dir + "/hello.txt";
      String moved = dir + "/greeting.txt";

      fs(false, "-rm", "-r", "-f", dir);
      fs(true, "-mkdir", "-p", dir + "/logs/2026", archive);
      fs(true, "-put", local.toString(), file);
      fs(true, "-ls", "-R", base);
      fs(true, "-cat", file);
      fs(true, "-stat", "%F %n: %b bytes, block size %o, replication %r, %u:%g %A", file);
      fs(false, "-setrep", "2", file);
      fs(false, "-stat", "replication %r", file);
      fs(false, "-chmod", "640", file);
      fs(false, "-chown", "kelpuser1:kelpgrp1", file);
      fs(true, "-ls", file);
      fs(false, "-setfacl", "-m", "user:kelpuser2:r--", file);
      fs(false, "-getfacl", file);
      fs(false, "-setfattr", "-n", "user.team", "-v", "storage", file);
      fs(false, "-getfattr", "-n", "user.team", file);
      fs(false, "-getfattr", "-d", file);
      fs(true, "-cp", file, archive);
      fs(false, "-createSnapshot", archive, "before-move");
      fs(false, "-ls", archive + "/.snapshot");
      fs(false, "-cat", archive + "/.snapshot/before-move/hello.txt");
      fs(false, "-renameSnapshot", archive, "before-move", "first");
      fs(false, "-ls", archive + "/.snapshot");
      fs(false, "-deleteSnapshot", archive, "first");
      fs(true, "-mv", file, moved);
      fs(true, "-ls", "-R", dir);
      fs(false, "-du", base);
      fs(false, "-du", "-s", "-h", base);
      fs(false, "-df", "-h", base);
      fs(true, "-rm", "-r", dir);
      // Its snapshots are gone, so the tree that held them goes too.
      fs(true, "-rm", "-r", archive);
      fs(true, "-ls", "-R", base);
    } finally {
      Files.deleteIfExists(local);
    }
    return failures;
  }

  public static void main(String[] args) throws Exception {
    if (args.length != 1) {
      System.err.println("usage: FsShellDemo BASE_URI");
      System.exit(2);
    }
    String base = args[0].replaceAll("/+$", "");
    Configuration conf = new Configuration();
    List<String> failed = new FsShellDemo(conf, System.out).session(base);
    if (!failed.isEmpty()) {
      System.out.println("FsShell demo: these commands failed: " + failed);
      System.exit(1);
    }
    System.out.println("FsShell demo: every basic command succeeded");
  }
}
