package org.apache.hadoop.fs.kelp;

import java.io.IOException;
import java.io.InterruptedIOException;
import java.util.ArrayDeque;

/**
 * Connections of one file-system instance. Locally there is nothing to share: every call gets
 * {@link KelpFileSystem#LOCAL}. A daemon connection carries one request at a time, so each call
 * borrows one for itself; the pool grows on demand up to its limit, and callers beyond that wait.
 */
final class KelpConnections implements AutoCloseable {
  /** A native call made on one connection. */
  interface Call<T> {
    T apply(int conn) throws IOException;
  }

  private final KelpFileSystem natives;
  private final String user;
  private final String actAs;
  private final int limit;
  private final ArrayDeque<Integer> idle = new ArrayDeque<>();
  private int open;
  private boolean closed;
  private final boolean local;

  /** Local use: no connection is made. */
  KelpConnections(KelpFileSystem natives) {
    this.natives = natives;
    this.user = null;
    this.actAs = null;
    this.limit = 0;
    this.local = true;
  }

  /** Daemon use, starting with the connection already made. */
  KelpConnections(KelpFileSystem natives, int first, String user, String actAs, int limit) {
    this.natives = natives;
    this.user = user;
    this.actAs = actAs;
    this.limit = Math.max(1, limit);
    this.local = false;
    idle.push(first);
    open = 1;
  }

  boolean isLocal() {
    return local;
  }

  /** Runs {@code call} on a connection nobody else uses meanwhile. */
  <T> T call(Call<T> call) throws IOException {
    if (local) {
      return call.apply(KelpFileSystem.LOCAL);
    }
    int conn = borrow();
    try {
      return call.apply(conn);
    } finally {
      giveBack(conn);
    }
  }

  private int borrow() throws IOException {
    boolean grow;
    synchronized (this) {
      while (true) {
        if (closed) {
          throw new IOException("file system closed");
        }
        if (!idle.isEmpty()) {
          return idle.pop();
        }
        if (open < limit) {
          open++;
          grow = true;
          break;
        }
        try {
          wait();
        } catch (InterruptedException e) {
          Thread.currentThread().interrupt();
          throw new InterruptedIOException("interrupted waiting for a daemon connection");
        }
      }
    }
    // Connecting happens outside the lock; a refused extra connection just means waiting for
    // one of those already open.
    int conn = grow ? natives.nConnect(user, actAs) : -1;
    if (conn >= 0) {
      return conn;
    }
    synchronized (this) {
      open--;
      notifyAll();
    }
    return borrowExisting();
  }

  private synchronized int borrowExisting() throws IOException {
    while (idle.isEmpty()) {
      if (closed || open == 0) {
        throw new IOException("no connection to the Kelp helper daemon");
      }
      try {
        wait();
      } catch (InterruptedException e) {
        Thread.currentThread().interrupt();
        throw new InterruptedIOException("interrupted waiting for a daemon connection");
      }
    }
    return idle.pop();
  }

  private void giveBack(int conn) {
    boolean end;
    synchronized (this) {
      end = closed;
      if (!end) {
        idle.push(conn);
        notify();
      } else {
        open--;
      }
    }
    if (end) {
      natives.nClose(conn);
    }
  }

  @Override
  public void close() {
    ArrayDeque<Integer> ending;
    synchronized (this) {
      if (closed) {
        return;
      }
      closed = true;
      ending = new ArrayDeque<>(idle);
      open -= idle.size();
      idle.clear();
      notifyAll();
    }
    for (int conn : ending) {
      natives.nClose(conn);
    }
  }
}
