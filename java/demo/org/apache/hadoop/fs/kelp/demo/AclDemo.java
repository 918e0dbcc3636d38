package org.apache.hadoop.fs.kelp.demo;

import org.apache.hadoop.fs.kelp.KelpFileSystem;

final class AclDemo {
  private AclDemo() {}

  static void run(KelpFileSystem fs, String root) throws Exception {
  }
}
