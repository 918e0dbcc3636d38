package org.apache.hadoop.fs.kelp.demo;

import org.apache.hadoop.fs.kelp.KelpFileSystem;

/**
 * Walks through what the native library does for Hadoop on a Kelp node, against the
 * simulated Kelp environment of the sandbox, and prints a short account of it.
 */
public final class Demo {
  /** Scratch Kelp file system of the sandbox. */
  static final String MOUNT = "/mnt/kelp";

  private Demo() {}

  static void say(String format, Object... args) {
    System.out.println("  " + String.format(format, args));
  }

  static void section(String title) {
    System.out.println();
    System.out.println("== " + title);
  }

  public static void main(String[] args) throws Exception {
    KelpFileSystem fs = new KelpFileSystem();
    String root = MOUNT + "/demo";
    System.out.println("Kelp Hadoop native library demo (simulated Kelp file system at " + MOUNT + ")");
    NamespaceDemo.run(fs, root);
    DaemonDemo.run(fs, root);
    ListingDemo.run(fs, root);
    DetailsDemo.run(fs, root);
    SnapshotDemo.run(fs, root);
    AclDemo.run(fs, root);
    StreamDemo.run(fs, root);
    System.out.println();
    System.out.println("Demo finished.");
  }
}
