package org.apache.hadoop.fs.kelp;

import static org.junit.Assert.assertArrayEquals;
import static org.junit.Assert.assertEquals;
import static org.junit.Assert.assertFalse;
import static org.junit.Assert.assertTrue;
import static org.junit.Assume.assumeTrue;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.Callable;
import java.util.concurrent.CyclicBarrier;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FSDataInputStream;
import org.apache.hadoop.fs.FSDataOutputStream;
import org.apache.hadoop.fs.FileStatus;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.Path;
import org.junit.Test;

/**
 * Eight threads share one file system through the helper daemon, each making a thousand mixed
 * calls: every answer must be the right one, and the daemon must drop no connection (a frame
 * of one request inside another's would make it drop the connection as garbage).
 */
public class TestKelpSharedDaemonConnections {
  private static final int THREADS = 8;
  private static final int OPS = 1000;
  private static final int CONNECTIONS = 3;

  @Test
  public void eightThreadsShareOneFileSystem() throws Exception {
    assumeTrue("daemon mode only", KelpTestEnv.daemonMode());
    // Fewer connections than threads: callers also wait for one another's connections.
    Configuration conf = KelpTestEnv.conf();
    conf.setInt(KelpFileSystem.CONNECTIONS_KEY, CONNECTIONS);
    FileSystem fs = FileSystem.newInstance(KelpTestEnv.ROOT, conf);
    Path base = new Path("/shared-daemon-test");
    fs.delete(base, true);
    String logBefore = KelpTestEnv.daemonLog();
    CyclicBarrier start = new CyclicBarrier(THREADS);
    ExecutorService pool = Executors.newFixedThreadPool(THREADS);
    try {
      List<Future<Integer>> results = new ArrayList<>();
      for (int t = 0; t < THREADS; t++) {
        Path dir = new Path(base, "t" + t);
        results.add(pool.submit(worker(fs, dir, start)));
      }
      for (Future<Integer> r : results) {
        assertTrue(r.get() >= OPS);
      }
    } finally {
      pool.shutdownNow();
    }
    assertTrue(fs.delete(base, true));
    assertFalse(fs.exists(base));
    fs.close();
    String log = KelpTestEnv.daemonLog().substring(logBefore.length());
    assertFalse(log, log.contains("dropped"));
    // The pool never opens more connections than its limit.
    assertTrue(log, log.split("connected", -1).length - 1 <= CONNECTIONS);
  }

  /** A thread's calls, each checked; returns how many were made. */
  private static Callable<Integer> worker(FileSystem fs, Path dir, CyclicBarrier start) {
    return () -> {
      assertTrue(fs.mkdirs(dir));
      start.await();
      int done = 0;
      int files = 0;
      for (int i = 0; done < OPS; i++) {
        Path f = new Path(dir, "f" + i);
        byte[] body = (dir.getName() + "/" + i).getBytes(StandardCharsets.UTF_8);
        try (FSDataOutputStream out = fs.create(f, false)) {
          out.write(body);
        }
        files++;
        done++;
        FileStatus s = fs.getFileStatus(f);
        assertEquals(body.length, s.getLen());
        assertEquals(fs.makeQualified(f), s.getPath());
        done++;
        byte[] back = new byte[body.length];
        try (FSDataInputStream in = fs.open(f)) {
          in.readFully(0, back);
        }
        assertArrayEquals(body, back);
        done++;
        assertEquals(files, fs.listStatus(dir).length);
        done++;
        Path moved = new Path(dir, "m" + i);
        assertTrue(fs.rename(f, moved));
        done++;
        if (i % 2 == 0) {
          assertTrue(fs.delete(moved, false));
          files--;
          done++;
        }
        assertFalse(fs.exists(f));
        done++;
      }
      return done;
    };
  }
}
