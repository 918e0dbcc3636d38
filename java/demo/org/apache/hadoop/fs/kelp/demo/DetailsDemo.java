package org.apache.hadoop.fs.kelp.demo;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Paths;
import org.apache.hadoop.fs.kelp.KELPDetails;
import org.apache.hadoop.fs.kelp.KelpFileSystem;

/** File-system details, replication and block-group factor. */
final class DetailsDemo {
  private DetailsDemo() {}

  static void run(KelpFileSystem fs, String root) throws Exception {
    Demo.section("File-system details, replication and block-group factor");
    Demo.say("nGetDetails for each Kelp mount (built once: ps, df, /etc/mtab, pool statistics,"
        + " kplspool where the statistics lack placement data, kplsfs):");
    for (String mount : new String[] {"/mnt/kelp", "/mnt/kelp2", "", "/mnt/kelp/demo"}) {
      KELPDetails d = fs.nGetDetails(-42, mount);
      if (d == null) {
        Demo.say("  \"%s\" -> null (not a mount point)", mount);
        continue;
      }
      Demo.say("  \"%s\" -> device %s, version %d, block size %d, block-group factor %d,"
          + " replicas %d of at most %d, write affinity %d", d.getPath(), d.getDevice(),
          d.getVersion(), d.getBlockSize(), d.getBlockGroupFactor(), d.getDataReplicas(),
          d.getMaxDataReplicas(), d.getAllowWriteAffinity());
    }

    String file = root + "/details/part-00000";
    Files.createDirectories(Paths.get(file).getParent());
    Files.write(Paths.get(file), "rows\n".getBytes(StandardCharsets.UTF_8));
    Demo.say("locally, on %s:", file);
    show(fs, -42, file, 2, 64);
    Demo.say("  nSetReplication(5) -> %s (above the cluster's maximum of 3)",
        fs.nSetReplication(-42, file, (short) 5));
    Demo.say("  nSetBlockGroupFactor on its directory -> %s (cannot be opened read-write)",
        fs.nSetBlockGroupFactor(-42, Paths.get(file).getParent().toString(), 8));

    int conn = fs.nConnect(System.getProperty("user.name"), null);
    if (conn < 0) {
      Demo.say("no helper daemon here (nConnect -> %d): nothing to show through it", conn);
    } else {
      Demo.say("through the helper daemon (socket %d): it opens the file for the replication"
          + " request and sets the factor itself", conn);
      show(fs, conn, file, 3, 128);
      fs.nClose(conn);
    }
    Demo.say("what the simulated file system received for it (kelpsim log, refused requests"
        + " too; the factor at bytes 48..51 is big-endian):");
    long me = ProcessHandle.current().pid();
    for (String line : kelpsimLog()) {
      if (line.startsWith("fcntl ") && line.contains(" " + file + " ")) {
        String[] w = line.split(" ");
        String hex = w[w.length - 1];
        boolean replication = hex.startsWith("d5070000", 40);
        String by = w[1].equals("pid=" + me) ? "this JVM" : "the daemon";
        if (replication) {
          Demo.say("  set replication (2005) by %s: replicas %d", by,
              Integer.reverseBytes(Integer.parseUnsignedInt(hex.substring(64, 72), 16)));
        } else {
          Demo.say("  set attribute kelp.BGF (6002) by %s: bytes %s = %d", by,
              hex.substring(96, 104).replaceAll("(..)(?!$)", "$1 "),
              Integer.parseUnsignedInt(hex.substring(96, 104), 16));
        }
      }
    }
  }

  /** Sets both attributes of {@code file} and shows what the file system kept. */
  private static void show(KelpFileSystem fs, int conn, String file, int replication, int factor)
      throws IOException, InterruptedException {
    Demo.say("  nSetReplication(%d) -> %s, nSetBlockGroupFactor(%d) -> %s", replication,
        fs.nSetReplication(conn, file, (short) replication), factor,
        fs.nSetBlockGroupFactor(conn, file, factor));
    Demo.say("  the file's simulated attributes: replication %s, block-group factor %s",
        NamespaceDemo.simAttr(file, "replication"), NamespaceDemo.simAttr(file, "bgf"));
  }

  private static String[] kelpsimLog() throws IOException, InterruptedException {
    String tool = System.getProperty("kelp.sim.tool", "kelpsim");
    Process p = new ProcessBuilder(tool, "log").redirectErrorStream(true).start();
    String out = new String(p.getInputStream().readAllBytes(), StandardCharsets.UTF_8);
    p.waitFor();
    return out.split("\n");
  }
}
