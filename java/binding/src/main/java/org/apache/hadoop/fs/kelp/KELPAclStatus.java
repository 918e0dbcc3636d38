package org.apache.hadoop.fs.kelp;

/** A path's owner, owning group, sticky bit and reported ACL entries. */
public class KELPAclStatus {
  private final String owner;
  private final String group;
  private final boolean stickyBit;
  private final KELPAclEntry[] entries;

  public KELPAclStatus(String owner, String group, boolean stickyBit, KELPAclEntry[] entries) {
    this.owner = owner;
    this.group = group;
    this.stickyBit = stickyBit;
    this.entries = entries;
  }

  public String getOwner() { return owner; }
  public String getGroup() { return group; }
  public boolean isStickyBit() { return stickyBit; }
  public KELPAclEntry[] getEntries() { return entries; }
}
