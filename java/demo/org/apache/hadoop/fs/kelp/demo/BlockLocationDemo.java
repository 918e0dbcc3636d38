package org.apache.hadoop.fs.kelp.demo;

import java.io.RandomAccessFile;
import java.util.Arrays;
import org.apache.hadoop.fs.BlockLocation;
import org.apache.hadoop.fs.kelp.KelpFileSystem;

/** Which cluster nodes hold each block of a file, and which cache it. */
final class BlockLocationDemo {
  private static final long MIB = 1L << 20;

  private BlockLocationDemo() {}

  static void run(KelpFileSystem fs, String root) throws Exception {
    int local = KelpFileSystem.LOCAL;
    Demo.say("node map before any block query: nGetInitInfo -> %d (nothing to do yet)",
        fs.nGetInitInfo());

    String file = root + "/blocks-10MiB";
    try (RandomAccessFile f = new RandomAccessFile(file, "rw")) {
      f.setLength(10 * MIB);
    }
    BlockLocation[] blocks = fs.nGetFileBlockLocations(local, file, 0, -1, 4 * MIB);
    Demo.say("block locations of %s (10 MiB, 4 MiB blocks, 3 replicas): %d blocks", file,
        blocks.length);
    for (BlockLocation b : blocks) {
      Demo.say("  offset %2d MiB, length %d MiB: hosts %s, names %s, cached on %s",
          b.getOffset() / MIB, b.getLength() / MIB, Arrays.toString(b.getHosts()),
          Arrays.toString(b.getNames()), Arrays.toString(b.getCachedHosts()));
    }
    BlockLocation[] later = fs.nGetFileBlockLocations(local, file, 4 * MIB, -1, 4 * MIB);
    Demo.say("from 4 MiB on: %d blocks, the first at %d MiB", later.length,
        later[0].getOffset() / MIB);

    // The second file system places replicas on a node whose name does not
    // resolve and on a directly attached disk; one cache node is unknown.
    String other = "/mnt/kelp2/demo-blocks";
    try (RandomAccessFile f = new RandomAccessFile(other, "rw")) {
      f.setLength(4 * MIB);
    }
    BlockLocation b = fs.nGetFileBlockLocations(local, other, 0, -1, 4 * MIB)[0];
    Demo.say("%s: hosts %s, names %s, cached on %s", other, Arrays.toString(b.getHosts()),
        Arrays.toString(b.getNames()), Arrays.toString(b.getCachedHosts()));
    new java.io.File(other).delete();
    Demo.say("a directory has no blocks: %d; a missing file -> %s",
        fs.nGetFileBlockLocations(local, root, 0, -1, 4 * MIB).length,
        fs.nGetFileBlockLocations(local, root + "/missing", 0, -1, 4 * MIB));
  }
}
