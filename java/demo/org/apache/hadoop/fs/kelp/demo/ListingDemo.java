package org.apache.hadoop.fs.kelp.demo;

import org.apache.hadoop.fs.kelp.KelpFileSystem;

/** Listing, file status and block locations. */
final class ListingDemo {
  private ListingDemo() {}

  static void run(KelpFileSystem fs, String root) throws Exception {
    Demo.section("Listing, file status and block locations");
    BlockLocationDemo.run(fs, root);
  }
}
