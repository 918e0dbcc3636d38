package org.apache.hadoop.fs.kelp;

import org.apache.hadoop.fs.permission.FsPermission;

/**
 * Permission of a Kelp file; bit 0x1000 marks a file that carries a POSIX access ACL. Hadoop's
 * own permission keeps only the mode bits, so the full value is kept here and read back through
 * {@link #toExtendedShort()}.
 */
@SuppressWarnings("deprecation")
public class KELPFsPermission extends FsPermission {
  private static final long serialVersionUID = 1L;
  public static final int ACL_BIT = 0x1000;

  private final short extended;

  public KELPFsPermission(short perm) {
    super(perm);
    this.extended = perm;
  }

  @Override
  public boolean getAclBit() {
    return (extended & ACL_BIT) != 0;
  }

  @Override
  public short toExtendedShort() {
    return extended;
  }

  @Override
  public boolean equals(Object o) {
    return super.equals(o) && o instanceof KELPFsPermission
        && ((KELPFsPermission) o).extended == extended;
  }

  @Override
  public int hashCode() {
    return super.hashCode() ^ (extended & ACL_BIT);
  }
}
