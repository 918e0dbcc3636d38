package org.apache.hadoop.fs.kelp.jmh;

import java.io.IOException;
import java.net.URI;
import java.util.concurrent.TimeUnit;

import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.BlockLocation;
import org.apache.hadoop.fs.FileStatus;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.LocatedFileStatus;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.RawLocalFileSystem;
import org.apache.hadoop.fs.RemoteIterator;
import org.openjdk.jmh.annotations.Benchmark;
import org.openjdk.jmh.annotations.BenchmarkMode;
import org.openjdk.jmh.annotations.Level;
import org.openjdk.jmh.annotations.Mode;
import org.openjdk.jmh.annotations.OperationsPerInvocation;
import org.openjdk.jmh.annotations.OutputTimeUnit;
import org.openjdk.jmh.annotations.Param;
import org.openjdk.jmh.annotations.Scope;
import org.openjdk.jmh.annotations.Setup;
import org.openjdk.jmh.annotations.State;
import org.openjdk.jmh.annotations.TearDown;
import org.openjdk.jmh.infra.Blackhole;

/**
 * One directory listed by Hadoop's two listing calls, as a Hadoop job sees
 * them: through kelp:// (working locally or through the helper daemon) and
 * through Hadoop's RawLocalFileSystem over the same mounted directory. Every
 * entry's owner, group and permission is read, since RawLocalFileSystem only
 * loads them when asked; a score is entries per second.
 */
@State(Scope.Benchmark)
@BenchmarkMode(Mode.Throughput)
@OutputTimeUnit(TimeUnit.SECONDS)
@OperationsPerInvocation(ListingPeerBench.ENTRIES)
public class ListingPeerBench {
  /** Entries of the directory listed; setup checks it. */
  public static final int ENTRIES = 10_000;

  /** kelp-local, kelp-daemon or rawlocal. */
  @Param({"kelp-local", "kelp-daemon", "rawlocal"})
  public String fs;

  /** The Kelp mount point. */
  @Param("/mnt/kelp")
  public String mount;

  /** The directory listed, below the mount point. */
  @Param("/bench/d10000")
  public String dir;

  private FileSystem fileSystem;
  private Path path;

  @Setup(Level.Trial)
  public void open() throws IOException {
    Configuration conf = new Configuration();
    switch (fs) {
      case "rawlocal":
        RawLocalFileSystem raw = new RawLocalFileSystem();
        raw.initialize(URI.create("file:///"), conf);
        fileSystem = raw;
        path = new Path("file://" + mount + dir);
        break;
      case "kelp-local":
      case "kelp-daemon":
        conf.set("fs.kelp.mount", mount);
        conf.set("fs.kelp.daemon", fs.equals("kelp-local") ? "never" : "required");
        fileSystem = FileSystem.newInstance(URI.create("kelp:///"), conf);
        path = new Path("kelp://" + dir);
        break;
      default:
        throw new IllegalArgumentException("unknown file system " + fs);
    }
    int n = fileSystem.listStatus(path).length;
    if (n != ENTRIES) {
      throw new IllegalStateException(path + " holds " + n + " entries, not " + ENTRIES);
    }
  }

  @TearDown(Level.Trial)
  public void close() throws IOException {
    fileSystem.close();
  }

  private static void read(FileStatus s, Blackhole bh) {
    bh.consume(s.getOwner());
    bh.consume(s.getGroup());
    bh.consume(s.getPermission().toShort());
    bh.consume(s.getLen());
  }

  @Benchmark
  public void listStatus(Blackhole bh) throws IOException {
    for (FileStatus s : fileSystem.listStatus(path)) {
      read(s, bh);
    }
  }

  @Benchmark
  public void listLocatedStatus(Blackhole bh) throws IOException {
    RemoteIterator<LocatedFileStatus> it = fileSystem.listLocatedStatus(path);
    while (it.hasNext()) {
      LocatedFileStatus s = it.next();
      read(s, bh);
      for (BlockLocation b : s.getBlockLocations()) {
        bh.consume(b.getHosts());
      }
    }
  }
}
