package org.apache.hadoop.fs;

/** Build and test stand-in for Hadoop's BlockLocation; production uses Hadoop's jars. */
public class BlockLocation {
  private static final String[] EMPTY = new String[0];
  private String[] names;
  private String[] hosts;
  private String[] cachedHosts = EMPTY;
  private long offset;
  private long length;

  public BlockLocation() {
    this(EMPTY, EMPTY, 0L, 0L);
  }

  public BlockLocation(String[] names, String[] hosts, long offset, long length) {
    this.names = names == null ? EMPTY : names;
    this.hosts = hosts == null ? EMPTY : hosts;
    this.offset = offset;
    this.length = length;
  }

  public String[] getNames() { return names; }
  public String[] getHosts() { return hosts; }
  public String[] getCachedHosts() { return cachedHosts; }
  public long getOffset() { return offset; }
  public long getLength() { return length; }

  public void setCachedHosts(String[] cachedHosts) {
    this.cachedHosts = cachedHosts == null ? EMPTY : cachedHosts;
  }
}
