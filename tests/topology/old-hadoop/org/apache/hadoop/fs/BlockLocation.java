package org.apache.hadoop.fs;

/** BlockLocation as older Hadoop releases have it: no cached hosts. */
public class BlockLocation {
  private static final String[] EMPTY = new String[0];
  private final String[] names;
  private final String[] hosts;
  private final long offset;
  private final long length;

  public BlockLocation(String[] names, String[] hosts, long offset, long length) {
    this.names = names == null ? EMPTY : names;
    this.hosts = hosts == null ? EMPTY : hosts;
    this.offset = offset;
    this.length = length;
  }

  public String[] getNames() { return names; }
  public String[] getHosts() { return hosts; }
  public long getOffset() { return offset; }
  public long getLength() { return length; }
}
