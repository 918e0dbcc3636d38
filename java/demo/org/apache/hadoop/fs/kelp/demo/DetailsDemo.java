package org.apache.hadoop.fs.kelp.demo;

import org.apache.hadoop.fs.kelp.KelpFileSystem;

/** File-system details, replication and block-group factor. */
final class DetailsDemo {
  private DetailsDemo() {}

  static void run(KelpFileSystem fs, String root) throws Exception {
    Demo.section("File-system details, replication and block-group factor");
    Demo.say("not built yet");
  }
}
