package org.apache.hadoop.fs.kelp;

import java.io.File;
import java.io.IOException;
import java.io.InputStream;
import java.net.URI;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FileSystem;

/**
 * The mode the tests of this JVM run in ({@code -Dkelp.mode=local} or {@code daemon}) and, in
 * daemon mode, the reference helper daemon serving them: started once for the JVM and stopped
 * when it exits. Its standard error goes to a log file that tests read.
 */
public final class KelpTestEnv {
  public static final URI ROOT = URI.create("kelp:///");

  private static Process daemon;
  private static File daemonLog;

  private KelpTestEnv() {}

  public static boolean daemonMode() {
    return "daemon".equals(System.getProperty("kelp.mode", "local"));
  }

  /** A configuration for this JVM's mode. */
  public static synchronized Configuration conf() throws IOException {
    Configuration conf = new Configuration();
    if (daemonMode()) {
      startDaemon();
      conf.set(KelpFileSystem.DAEMON_KEY, "required");
    } else {
      conf.set(KelpFileSystem.DAEMON_KEY, "never");
    }
    return conf;
  }

  public static FileSystem newFileSystem() throws IOException {
    return FileSystem.get(ROOT, conf());
  }

  /** The daemon's log so far (empty locally). */
  public static synchronized String daemonLog() throws IOException {
    if (daemonLog == null) {
      return "";
    }
    return new String(Files.readAllBytes(daemonLog.toPath()), StandardCharsets.UTF_8);
  }

  private static void startDaemon() throws IOException {
    if (daemon != null) {
      return;
    }
    String binary = System.getProperty("kelp.daemon");
    if (binary == null || !new File(binary).canExecute()) {
      throw new IOException("daemon mode needs -Dkelp.daemon=<kelp-helperd>, not " + binary);
    }
    daemonLog = new File(System.getProperty("kelp.daemon.log", "target/kelp-helperd.log"));
    // The daemon writes one byte to its ready descriptor (here its standard output) once it
    // listens, then closes it.
    // Root, the tests' user, may act for any user and group (proxy users, setOwner).
    ProcessBuilder pb = new ProcessBuilder(binary, "--serve", "--allow-uid", "0",
        "--proxy-user", "root", "--proxy-users", "*", "--proxy-groups", "*",
        "--log-connections", "--ready-fd", "1")
        .redirectError(ProcessBuilder.Redirect.appendTo(daemonLog));
    Process p = pb.start();
    try (InputStream ready = p.getInputStream()) {
      if (ready.read() < 0) {
        p.destroy();
        throw new IOException("the helper daemon did not start; see " + daemonLog);
      }
    }
    daemon = p;
    Runtime.getRuntime().addShutdownHook(new Thread(() -> {
      daemon.destroy();
      try {
        daemon.waitFor();
      } catch (InterruptedException e) {
        Thread.currentThread().interrupt();
      }
    }));
  }
}
