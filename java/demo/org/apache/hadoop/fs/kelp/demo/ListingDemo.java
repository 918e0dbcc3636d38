package org.apache.hadoop.fs.kelp.demo;

import java.io.FileOutputStream;
import java.nio.file.Files;
import java.nio.file.Paths;
import java.util.Arrays;
import org.apache.hadoop.fs.BlockLocation;
import org.apache.hadoop.fs.LocatedFileStatus;
import org.apache.hadoop.fs.kelp.KelpFileSystem;

/** Listing, file status and block locations. */
final class ListingDemo {
  private static final long BLOCK_SIZE = 1L << 20;

  private ListingDemo() {}

  static void run(KelpFileSystem fs, String root) throws Exception {
    Demo.section("Listing, file status and block locations");
    BlockLocationDemo.run(fs, root);
    String dir = root + "/listing";
    if (!fs.nMkdirs(KelpFileSystem.LOCAL, dir + "/sub", 0755)) {
      Demo.say("nMkdirs %s failed; nothing to list", dir);
      return;
    }
    write(dir + "/small.txt", 10);
    write(dir + "/ten-mib.bin", 10L << 20);
    Files.createDirectories(Paths.get(dir, ".snapshots"));
    Files.deleteIfExists(Paths.get(dir, "dangling"));
    Files.createSymbolicLink(Paths.get(dir, "dangling"), Paths.get("nowhere"));

    LocatedFileStatus single = fs.nGetFileStatus(KelpFileSystem.LOCAL, dir + "/small.txt",
        BLOCK_SIZE);
    Demo.say("nGetFileStatus %s/small.txt:", dir);
    describe(single);

    String me = System.getProperty("user.name");
    LocatedFileStatus[] listed = fs.nListStatus(KelpFileSystem.LOCAL, dir, 4, 2, true, me, null,
        BLOCK_SIZE);
    Demo.say("nListStatus %s (located, 4 threads from the 3rd entry on) -> %d entries,"
        + " in the order their examination finished (.snapshots is never listed;"
        + " a null is an entry that could not be examined):", dir, listed.length);
    for (LocatedFileStatus s : listed) {
      describe(s);
    }
    Demo.say("nListStatus of a missing directory -> %d entries; of a file -> %s",
        fs.nListStatus(KelpFileSystem.LOCAL, dir + "/missing", 1, 0, false, me, null,
            BLOCK_SIZE).length,
        Arrays.toString(fs.nListStatus(KelpFileSystem.LOCAL, dir + "/small.txt", 1, 0, false, me,
            null, BLOCK_SIZE)));
  }

  private static void write(String path, long length) throws Exception {
    try (FileOutputStream out = new FileOutputStream(path)) {
      byte[] chunk = new byte[64 * 1024];
      for (long left = length; left > 0; left -= chunk.length) {
        out.write(chunk, 0, (int) Math.min(left, chunk.length));
      }
    }
  }

  private static void describe(LocatedFileStatus s) throws java.io.IOException {
    if (s == null) {
      Demo.say("  null");
      return;
    }
    Demo.say("  %s %s %s:%s %d bytes, replication %d, block size %d, modified %d%s",
        s.getPermission(), s.isDirectory() ? "dir " : "file", s.getOwner(), s.getGroup(),
        s.getLen(), s.getReplication(), s.getBlockSize(), s.getModificationTime(),
        " " + s.getPath());
    BlockLocation[] blocks = s.getBlockLocations();
    for (BlockLocation b : blocks) {
      Demo.say("    block at %d, %d bytes: hosts %s names %s cached %s", b.getOffset(),
          b.getLength(), Arrays.toString(b.getHosts()), Arrays.toString(b.getNames()),
          Arrays.toString(b.getCachedHosts()));
    }
    if (blocks.length == 0 && !s.isDirectory()) {
      Demo.say("    no block locations");
    }
  }
}
