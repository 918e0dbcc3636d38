package org.apache.hadoop.fs.kelp;

import java.util.ArrayList;
import java.util.List;
import org.apache.hadoop.fs.permission.AclEntry;
import org.apache.hadoop.fs.permission.AclEntryScope;
import org.apache.hadoop.fs.permission.AclEntryType;
import org.apache.hadoop.fs.permission.AclStatus;
import org.apache.hadoop.fs.permission.FsAction;
import org.apache.hadoop.fs.permission.FsPermission;

/** Converts between Hadoop's ACL entries and the native library's. */
final class KelpAcls {
  private KelpAcls() {}

  private static final AclEntryType[] TYPES = {
    AclEntryType.USER, AclEntryType.GROUP, AclEntryType.MASK, AclEntryType.OTHER
  };

  static KELPAclEntry[] toNative(List<AclEntry> entries) {
    KELPAclEntry[] out = new KELPAclEntry[entries.size()];
    for (int i = 0; i < out.length; i++) {
      AclEntry e = entries.get(i);
      out[i] = new KELPAclEntry(e.getType().ordinal(), e.getName(),
          e.getPermission() == null ? 0 : e.getPermission().ordinal(),
          e.getScope() == AclEntryScope.DEFAULT ? 1 : 0);
    }
    return out;
  }

  static AclEntry fromNative(KELPAclEntry e) {
    AclEntry.Builder b = new AclEntry.Builder()
        .setType(TYPES[e.type])
        .setScope(e.scope != 0 ? AclEntryScope.DEFAULT : AclEntryScope.ACCESS)
        .setPermission(FsAction.values()[e.permission & 7]);
    if (e.name != null && !e.name.isEmpty()) {
      b.setName(e.name);
    }
    return b.build();
  }

  static AclStatus fromNative(KELPAclStatus s, FsPermission permission) {
    List<AclEntry> entries = new ArrayList<>();
    if (s.getEntries() != null) {
      for (KELPAclEntry e : s.getEntries()) {
        entries.add(fromNative(e));
      }
    }
    AclStatus.Builder b = new AclStatus.Builder().owner(s.getOwner()).group(s.getGroup())
        .stickyBit(s.isStickyBit()).addEntries(entries);
    if (permission != null) {
      b.setPermission(permission);
    }
    return b.build();
  }
}
