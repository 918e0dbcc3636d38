package org.apache.hadoop.fs.kelp.bench;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.DirectoryStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.nio.file.attribute.PosixFileAttributes;
import java.nio.file.attribute.PosixFilePermission;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Locale;
import org.apache.hadoop.fs.BlockLocation;
import org.apache.hadoop.fs.LocatedFileStatus;
import org.apache.hadoop.fs.kelp.KELPFsPermission;
import org.apache.hadoop.fs.kelp.KelpFileSystem;

/**
 * What Java sees of the native listing and block locations, timed from Java against pure-Java
 * equivalents in the same JVM, and the resident memory a listing costs. The native benchmark
 * (bench/listing_bench.cpp) calls {@link #nioList} and {@link #copyBlockLocations} too, so that
 * its table compares against the same Java code.
 */
public final class KelpBench {
  private static final long BLOCK_SIZE = 128L << 20;

  private KelpBench() {}

  /**
   * Lists {@code dir} in pure Java: every entry's POSIX attributes, owner and group names, made
   * into the same LocatedFileStatus objects the native listing returns. Returns the count.
   */
  public static int nioList(String dir) throws IOException {
    List<LocatedFileStatus> out = new ArrayList<>();
    try (DirectoryStream<Path> entries = Files.newDirectoryStream(Paths.get(dir))) {
      for (Path p : entries) {
        PosixFileAttributes a = Files.readAttributes(p, PosixFileAttributes.class);
        short mode = 0;
        for (PosixFilePermission perm : a.permissions()) {
          mode |= (short) (0400 >> perm.ordinal());
        }
        out.add(new LocatedFileStatus(a.size(), a.isDirectory(), 0, BLOCK_SIZE,
            a.lastModifiedTime().toMillis(), a.lastAccessTime().toMillis(),
            new KELPFsPermission(mode), a.owner().getName(), a.group().getName(), null,
            new org.apache.hadoop.fs.Path(p.toString()), false, false, false,
            new BlockLocation[0]));
      }
    }
    return out.size();
  }

  /** Builds, in pure Java, a BlockLocation[] identical to {@code src}: new arrays and objects. */
  public static BlockLocation[] copyBlockLocations(BlockLocation[] src) throws IOException {
    BlockLocation[] out = new BlockLocation[src.length];
    for (int i = 0; i < src.length; i++) {
      BlockLocation b = src[i];
      BlockLocation c = new BlockLocation(b.getNames().clone(), b.getHosts().clone(),
          b.getOffset(), b.getLength());
      c.setCachedHosts(b.getCachedHosts().clone());
      out[i] = c;
    }
    return out;
  }

  /** One thing to time; returns a count of items (entries, blocks) per run. */
  interface Op {
    long run() throws Exception;
  }

  /** Median nanoseconds per run over repeated runs lasting at least {@code seconds}. */
  static double medianNanos(Op op, double seconds) throws Exception {
    for (int i = 0; i < 2; i++) {
      op.run();
    }
    List<Long> times = new ArrayList<>();
    long deadline = System.nanoTime() + (long) (seconds * 1e9);
    while (times.size() < 3 || (System.nanoTime() < deadline && times.size() < 200)) {
      long t0 = System.nanoTime();
      op.run();
      times.add(System.nanoTime() - t0);
    }
    long[] sorted = times.stream().mapToLong(Long::longValue).sorted().toArray();
    return sorted[sorted.length / 2];
  }

  static void row(String what, double nanos, long items, String unit, String extra) {
    System.out.printf(Locale.ROOT, "  %-58s %12.1f us %12.0f %s/s %s%n", what, nanos / 1e3,
        items / (nanos / 1e9), unit, extra);
  }

  static void listing(KelpFileSystem fs, int conn, String label, String dir, double seconds)
      throws Exception {
    int entries = new java.io.File(dir).list().length;
    double nio = medianNanos(() -> nioList(dir), seconds);
    System.out.printf(Locale.ROOT, "%s: %d entries%n", dir, entries);
    row("pure Java (java.nio.file, PosixFileAttributes)", nio, entries, "entries", "");
    for (boolean located : new boolean[] {false, true}) {
      for (int threads : new int[] {1, 2, 4}) {
        double t = medianNanos(() -> {
          LocatedFileStatus[] r = fs.nListStatus(conn, dir, threads, 0, located, "root", null,
              BLOCK_SIZE);
          if (r == null || r.length != entries) {
            throw new IllegalStateException("listing of " + dir + " gave " + (r == null ? "null"
                : r.length + " entries"));
          }
          return r.length;
        }, seconds);
        row(String.format(Locale.ROOT, "nListStatus %s located=%s threads=%d", label, located,
            threads), t, entries, "entries", String.format(Locale.ROOT, "(%.1fx faster than pure Java)",
            nio / t));
      }
    }
  }

  static void blocks(KelpFileSystem fs, int conn, String file, double seconds) throws Exception {
    long length = Files.size(Paths.get(file));
    BlockLocation[] sample = fs.nGetFileBlockLocations(conn, file, 0, length, 4L << 20);
    if (sample == null) {
      throw new IllegalStateException("no block locations for " + file);
    }
    int n = sample.length;
    double nat = medianNanos(() -> fs.nGetFileBlockLocations(conn, file, 0, length, 4L << 20)
        .length, seconds);
    double java = medianNanos(() -> copyBlockLocations(sample).length, seconds);
    System.out.printf(Locale.ROOT, "%s: %d bytes, %d blocks%n", file, length, n);
    row("nGetFileBlockLocations", nat, n, "blocks",
        String.format(Locale.ROOT, "(%.1f ns/block)", nat / n));
    row("pure Java building the same BlockLocation[]", java, n, "blocks",
        String.format(Locale.ROOT, "(%.1f ns/block; native/Java %.2fx)", java / n, nat / java));
  }

  static long residentKiB() throws IOException {
    for (String line : Files.readAllLines(Paths.get("/proc/self/status"), StandardCharsets.UTF_8)) {
      if (line.startsWith("VmRSS:")) {
        return Long.parseLong(line.replaceAll("[^0-9]", ""));
      }
    }
    return -1;
  }

  /** Resident memory and Java heap that one retained listing of {@code dir} adds, per entry. */
  static void memory(KelpFileSystem fs, int conn, String dir, boolean located) throws Exception {
    Runtime rt = Runtime.getRuntime();
    fs.nListStatus(conn, dir, 2, 0, located, "root", null, BLOCK_SIZE);  // warm caches, code
    System.gc();
    long rss0 = residentKiB();
    long heap0 = rt.totalMemory() - rt.freeMemory();
    LocatedFileStatus[] kept = fs.nListStatus(conn, dir, 2, 0, located, "root", null, BLOCK_SIZE);
    System.gc();
    long rss1 = residentKiB();
    long heap1 = rt.totalMemory() - rt.freeMemory();
    System.out.printf(Locale.ROOT,
        "  %-58s %8.0f bytes resident/entry, %8.0f bytes Java heap/entry%n",
        "memory of one retained listing, located=" + located,
        (rss1 - rss0) * 1024.0 / kept.length, (heap1 - heap0) / (double) kept.length);
    if (kept.length == 0) {
      throw new IllegalStateException("empty listing");
    }
  }

  public static void main(String[] args) throws Exception {
    if (args.length < 2) {
      System.err.println("usage: KelpBench listing|blocks|memory PATH... [--daemon] [--seconds S]");
      System.exit(2);
    }
    KelpFileSystem fs = new KelpFileSystem();
    List<String> paths = new ArrayList<>(Arrays.asList(args).subList(1, args.length));
    boolean daemon = paths.remove("--daemon");
    double seconds = 2;
    int s = paths.indexOf("--seconds");
    if (s >= 0) {
      seconds = Double.parseDouble(paths.get(s + 1));
      paths.subList(s, s + 2).clear();
    }
    int conn = daemon ? fs.nConnect("root", null) : KelpFileSystem.LOCAL;
    if (conn == -1) {
      throw new IllegalStateException("no helper daemon");
    }
    String label = daemon ? "daemon" : "local";
    for (String p : paths) {
      switch (args[0]) {
        case "listing":
          listing(fs, conn, label, p, seconds);
          break;
        case "blocks":
          blocks(fs, conn, p, seconds);
          break;
        case "memory":
          memory(fs, conn, p, false);
          memory(fs, conn, p, true);
          break;
        default:
          throw new IllegalArgumentException(args[0]);
      }
    }
    fs.nClose(conn);
  }
}
