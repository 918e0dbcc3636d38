package org.apache.hadoop.fs.kelp.demo;

import org.apache.hadoop.fs.kelp.KelpFileSystem;

/** Directory snapshots. */
final class SnapshotDemo {
  private SnapshotDemo() {}

  static void run(KelpFileSystem fs, String root) throws Exception {
    Demo.section("Directory snapshots");
    Demo.say("not built yet");
  }
}
