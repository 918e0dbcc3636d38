package org.apache.hadoop.fs.kelp;

/**
 * One POSIX ACL entry as the native library exchanges it. type: 0 user, 1 group, 2 mask,
 * 3 other; permission: read 4, write 2, execute 1; scope: 0 access, 1 default. The name is
 * null (or empty) for the owner, owning group, mask and other entries.
 */
public class KELPAclEntry {
  public int type;
  public String name;
  public int permission;
  public int scope;

  public KELPAclEntry(int type, String name, int permission, int scope) {
    this.type = type;
    this.name = name;
    this.permission = permission;
    this.scope = scope;
  }

  @Override
  public String toString() {
    String[] types = {"user", "group", "mask", "other"};
    String t = type >= 0 && type < types.length ? types[type] : Integer.toString(type);
    String perm = ((permission & 4) != 0 ? "r" : "-") + ((permission & 2) != 0 ? "w" : "-")
        + ((permission & 1) != 0 ? "x" : "-");
    return (scope != 0 ? "default:" : "") + t + ":" + (name == null ? "" : name) + ":" + perm;
  }
}
