package org.apache.hadoop.fs.kelp.demo;

import org.apache.hadoop.fs.kelp.KelpFileSystem;

final class NamespaceDemo {
  private NamespaceDemo() {}

  static void run(KelpFileSystem fs, String root) throws Exception {
  }
}
