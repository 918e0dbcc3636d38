package org.apache.hadoop.fs.kelp.apps;

import static org.junit.Assert.assertEquals;
import static org.junit.Assert.assertTrue;

import java.io.ByteArrayOutputStream;
import java.io.PrintStream;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.util.Collection;
import java.util.List;

import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.mapreduce.Job;
import org.apache.hadoop.mapreduce.lib.input.FileInputFormat;
import org.junit.After;
import org.junit.Before;
import org.junit.Test;
import org.junit.runner.RunWith;
import org.junit.runners.Parameterized;
import org.junit.runners.Parameterized.Parameters;

/**
 * Hadoop's own shell and a MapReduce job on kelp://, inside the sandbox
 * (the default simulated cluster of sandbox/scenarios/default.scn), working
 * locally and through the helper daemon that tests/apps/run_junit.sh starts.
 */
@RunWith(Parameterized.class)
public class KelpAppsTest {
  @Parameters(name = "fs.kelp.daemon={0}")
  public static Collection<Object[]> modes() {
    return List.of(new Object[] {"never"}, new Object[] {"required"});
  }

  private final String base;
  private final Configuration conf = new Configuration();

  public KelpAppsTest(String mode) {
    base = "kelp:///apps-test-" + mode;
    conf.set("fs.kelp.daemon", mode);
  }

  // Hadoop caches one file system per scheme and user: each test starts with
  // none, so the one it gets was made with this mode's configuration.
  @Before
  @After
  public void closeFileSystems() throws Exception {
    FileSystem.closeAll();
  }

  /**
   * Where default.scn places replica r of block b: on disk 101 + (b + r) mod 4,
   * whose first server is kelpnode(1 + (b + r) mod 4).
   */
  private static List<String> placedHosts(long block) {
    return List.of(node(block), node(block + 1), node(block + 2));
  }

  private static String node(long i) {
    return "kelpnode" + (1 + i % 4);
  }

  @Test
  public void wordCountReadsSplitsOnThePlacedHostsAndCountsRight() throws Exception {
    java.nio.file.Path scratch = Files.createTempDirectory("kelp-wordcount");
    long bytes = 3 * WordCount.BLOCK_SIZE + WordCount.BLOCK_SIZE / 2;
    WordCount.Result r = WordCount.run(conf, new Path(base + "/wc/input"),
        new Path(base + "/wc/output"), scratch.toString(), bytes);

    assertTrue("the job failed", r.succeeded);
    assertEquals(r.expected, r.counted);
    assertEquals("kelp", r.top(1).get(0).getKey());

    // One split per 4 MiB block, together covering the file, each on the
    // hosts the simulated cluster placed its block on.
    assertEquals(4, r.splits.size());
    long next = 0;
    for (WordCount.Split s : r.splits) {
      assertEquals(next, s.start);
      assertEquals(0, s.start % WordCount.BLOCK_SIZE);
      assertEquals("hosts of " + s, placedHosts(s.start / WordCount.BLOCK_SIZE), s.hosts);
      next += s.length;
    }
    assertEquals(r.inputBytes, next);

    // Named itself rather than through its directory, the file gives the same
    // splits: its status carries no empty block list for the job to trip on.
    Job single = Job.getInstance(WordCount.jobConf(conf, scratch.toString()));
    FileInputFormat.addInputPath(single, new Path(base + "/wc/input/words.txt"));
    assertEquals(r.splits.toString(), WordCount.splits(single).toString());
  }

  @Test
  public void shellSessionShowsEachChange() throws Exception {
    ByteArrayOutputStream buf = new ByteArrayOutputStream();
    PrintStream saved = System.out;
    List<String> failed;
    try (PrintStream capture = new PrintStream(buf, true, StandardCharsets.UTF_8)) {
      System.setOut(capture);
      failed = new FsShellDemo(conf, capture).session(base + "/shell");
    } finally {
      System.setOut(saved);
    }
    String out = buf.toString(StandardCharsets.UTF_8);
    saved.print(out);

    assertEquals(List.of(), failed);
    // Once from the file, once from its image in the snapshot.
    assertEquals(2, out.split("Every line of this file went through put", -1).length - 1);
    assertTrue(out.contains("replication 2\n"));
    assertTrue(out.matches("(?s).*-rw-r-----\\+?\\s+\\d+ kelpuser1 kelpgrp1 .*hello\\.txt.*"));
    assertTrue(out.contains("user:kelpuser2:r--"));
    assertTrue(out.contains("user.team=\"storage\""));
    assertTrue(out.matches("(?s).*/archive/\\.snapshot/before-move.*/archive/\\.snapshot/first.*"));
    assertTrue(out.contains("/data/greeting.txt"));
    assertTrue(out.contains("Deleted " + base + "/shell/archive\n"));
  }
}
