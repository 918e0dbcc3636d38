package org.apache.hadoop.fs.kelp;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.charset.CharacterCodingException;
import java.nio.charset.CodingErrorAction;
import java.nio.charset.StandardCharsets;
import java.util.EnumSet;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import org.apache.hadoop.fs.LocatedFileStatus;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.XAttrSetFlag;
import org.apache.hadoop.fs.permission.AclEntry;
import org.apache.hadoop.fs.permission.AclStatus;
import org.apache.hadoop.fs.permission.FsPermission;

/**
 * POSIX ACLs and extended attributes of {@link KelpFileSystem}; the native library always works
 * on them with this process's own rights.
 */
final class KelpAttributes extends KelpPart {
  KelpAttributes(KelpFileSystem fs, KelpConnections connections, KelpMount mount) {
    super(fs, connections, mount);
  }

  private interface AclEdit {
    int apply(int conn, String local) throws IOException;
  }

  private void editAcl(Path path, String what, AclEdit edit) throws IOException {
    Path q = fs.makeQualified(path);
    String local = mount.toLocal(q);
    if (connections.call(c -> edit.apply(c, local)) != 1) {
      if (fs.nativeStatus(local) == null) {
        throw fs.missing(q, local);
      }
      throw new IOException(what + " failed on " + q);
    }
  }

  AclStatus getAclStatus(Path path) throws IOException {
    Path q = fs.makeQualified(path);
    String local = mount.toLocal(q);
    KELPAclStatus s = connections.call(c -> fs.nGetAclStatus(c, local));
    if (s == null) {
      if (fs.nativeStatus(local) == null) {
        throw fs.missing(q, local);
      }
      throw new IOException("Cannot read the ACL of " + q);
    }
    LocatedFileStatus st = fs.nativeStatus(local);
    FsPermission perm = st == null ? null
        : new FsPermission((short) (st.getPermission().toShort() & 01777));
    return KelpAcls.fromNative(s, perm);
  }

  void setAcl(Path path, List<AclEntry> aclSpec) throws IOException {
    KELPAclEntry[] e = KelpAcls.toNative(aclSpec);
    editAcl(path, "setAcl", (c, l) -> fs.nSetAcl(c, l, e));
  }

  void modifyAclEntries(Path path, List<AclEntry> aclSpec) throws IOException {
    KELPAclEntry[] e = KelpAcls.toNative(aclSpec);
    editAcl(path, "modifyAclEntries", (c, l) -> fs.nModifyAclEntries(c, l, e));
  }

  void removeAclEntries(Path path, List<AclEntry> aclSpec) throws IOException {
    KELPAclEntry[] e = KelpAcls.toNative(aclSpec);
    editAcl(path, "removeAclEntries", (c, l) -> fs.nRemoveAclEntries(c, l, e));
  }

  void removeAcl(Path path) throws IOException {
    editAcl(path, "removeAcl", (c, l) -> fs.nRemoveAcl(c, l));
  }

  void removeDefaultAcl(Path path) throws IOException {
    editAcl(path, "removeDefaultAcl", (c, l) -> fs.nRemoveDefaultAcl(c, l));
  }

  byte[] getXAttr(Path path, String name) throws IOException {
    Path q = fs.makeQualified(path);
    String local = mount.toLocal(q);
    String value = connections.call(c -> fs.nGetExtendedAttribute(c, local, name));
    if (value == null) {
      if (fs.nativeStatus(local) == null) {
        throw fs.missing(q, local);
      }
      throw new IOException("At least one of the attributes provided was not found: " + name);
    }
    return value.getBytes(StandardCharsets.UTF_8);
  }

  Map<String, byte[]> getXAttrs(Path path, List<String> names) throws IOException {
    Map<String, byte[]> out = new HashMap<>();
    for (String name : names) {
      out.put(name, getXAttr(path, name));
    }
    return out;
  }

  void setXAttr(Path path, String name, byte[] value, EnumSet<XAttrSetFlag> flag)
      throws IOException {
    Path q = fs.makeQualified(path);
    String local = mount.toLocal(q);
    String text;
    try {
      // Values travel as text; bytes that are not UTF-8 would not come back as they went.
      text = StandardCharsets.UTF_8.newDecoder()
          .onMalformedInput(CodingErrorAction.REPORT)
          .onUnmappableCharacter(CodingErrorAction.REPORT)
          .decode(ByteBuffer.wrap(value == null ? new byte[0] : value)).toString();
    } catch (CharacterCodingException e) {
      throw new UnsupportedOperationException("Kelp keeps extended attribute values as text");
    }
    boolean create = flag.contains(XAttrSetFlag.CREATE);
    boolean replace = flag.contains(XAttrSetFlag.REPLACE);
    if (create != replace) {
      boolean exists = connections.call(c -> fs.nGetExtendedAttribute(c, local, name)) != null;
      if (create && exists) {
        throw new IOException("XAttr " + name + " already exists on " + q);
      }
      if (replace && !exists) {
        throw new IOException("XAttr " + name + " does not exist on " + q);
      }
    }
    if (connections.call(c -> fs.nSetExtendedAttribute(c, local, name, text)) != 1) {
      throw fs.refused("Cannot set an extended attribute of", q, local);
    }
  }
}
