package org.apache.hadoop.fs.kelp;

import org.apache.hadoop.fs.permission.FsPermission;

/** Permission of a Kelp file; bit 0x1000 marks a file that carries a POSIX access ACL. */
public class KELPFsPermission extends FsPermission {
  public static final int ACL_BIT = 0x1000;

  public KELPFsPermission(short perm) {
    super(perm);
  }

  public boolean getAclBit() {
    return (toShort() & ACL_BIT) != 0;
  }
}
