package org.apache.hadoop.fs.kelp;

/** A group of {@link KelpFileSystem}'s operations, working through its connections. */
abstract class KelpPart {
  protected final KelpFileSystem fs;
  protected final KelpConnections connections;
  protected final KelpMount mount;

  KelpPart(KelpFileSystem fs, KelpConnections connections, KelpMount mount) {
    this.fs = fs;
    this.connections = connections;
    this.mount = mount;
  }
}
