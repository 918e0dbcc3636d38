package org.apache.hadoop.fs.kelp.jmh;

import java.util.ArrayList;
import java.util.Collection;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.concurrent.TimeUnit;

import org.openjdk.jmh.annotations.Mode;
import org.openjdk.jmh.results.Result;
import org.openjdk.jmh.results.RunResult;
import org.openjdk.jmh.runner.Runner;
import org.openjdk.jmh.runner.RunnerException;
import org.openjdk.jmh.runner.options.ChainedOptionsBuilder;
import org.openjdk.jmh.runner.options.OptionsBuilder;
import org.openjdk.jmh.runner.options.TimeValue;

/**
 * Runs {@link ListingPeerBench} and prints entries per second of each file
 * system and the ratio of each Kelp mode to RawLocalFileSystem.
 *
 * <p>Kelp's listings take milliseconds and are measured for a few seconds
 * per iteration. RawLocalFileSystem without Hadoop's native library starts
 * a process per entry to learn its owner, group and permission, so one of
 * its listings takes minutes: it is timed once, in a single shot.
 *
 * <p>Usage: {@code PeerBenchMain [MOUNT [DIR]]}.
 */
public final class PeerBenchMain {
  private static final String[] METHODS = {"listStatus", "listLocatedStatus"};
  private static final String[] KELP_MODES = {"kelp-local", "kelp-daemon"};

  private PeerBenchMain() {}

  private static ChainedOptionsBuilder base(String method, String mount, String dir) {
    return new OptionsBuilder()
        .include(ListingPeerBench.class.getName() + "\\." + method + "$")
        .param("mount", mount)
        .param("dir", dir)
        .forks(1)
        .shouldFailOnError(true);
  }

  /** Entries per second of one primary result, whatever the mode measured. */
  static double entriesPerSecond(Result<?> r) {
    double score = r.getScore();
    String unit = r.getScoreUnit();
    if (unit.startsWith("ops/")) {
      return score * perSecond(unit.substring(4));
    }
    // Time per entry.
    return perSecond(unit.substring(0, unit.indexOf('/'))) / score;
  }

  private static double perSecond(String unit) {
    switch (unit) {
      case "s": return 1;
      case "ms": return 1e3;
      case "us": return 1e6;
      case "ns": return 1e9;
      default: throw new IllegalArgumentException("unknown unit " + unit);
    }
  }

  private static double run(ChainedOptionsBuilder options) throws RunnerException {
    Collection<RunResult> results = new Runner(options.build()).run();
    if (results.size() != 1) {
      throw new IllegalStateException("expected one result, got " + results.size());
    }
    return entriesPerSecond(results.iterator().next().getPrimaryResult());
  }

  public static void main(String[] args) throws RunnerException {
    String mount = args.length > 0 ? args[0] : "/mnt/kelp";
    String dir = args.length > 1 ? args[1] : "/bench/d10000";
    Map<String, Double> score = new LinkedHashMap<>();
    for (String method : METHODS) {
      for (String mode : KELP_MODES) {
        score.put(method + " " + mode, run(base(method, mount, dir)
            .param("fs", mode)
            .mode(Mode.Throughput)
            .timeUnit(TimeUnit.SECONDS)
            .warmupIterations(2)
            .warmupTime(TimeValue.seconds(2))
            .measurementIterations(3)
            .measurementTime(TimeValue.seconds(3))));
      }
      score.put(method + " rawlocal", run(base(method, mount, dir)
          .param("fs", "rawlocal")
          .mode(Mode.SingleShotTime)
          .timeUnit(TimeUnit.MILLISECONDS)
          .warmupIterations(0)
          .measurementIterations(1)));
    }

    List<String> lines = new ArrayList<>();
    lines.add(String.format("%-18s %-12s %14s %16s", "method", "file system", "entries/s",
        "vs RawLocal"));
    for (String method : METHODS) {
      double raw = score.get(method + " rawlocal");
      for (String mode : new String[] {"kelp-local", "kelp-daemon", "rawlocal"}) {
        double s = score.get(method + " " + mode);
        lines.add(String.format("%-18s %-12s %,14.0f %15.1fx", method, mode, s, s / raw));
      }
    }
    System.out.println();
    System.out.println("Listing " + dir + " of " + mount + " (" + ListingPeerBench.ENTRIES
        + " entries; owner, group and permission of each read)");
    lines.forEach(System.out::println);
  }
}
