package org.apache.hadoop.fs.kelp;

import java.io.BufferedReader;
import java.io.IOException;
import java.net.URI;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Paths;
import org.apache.hadoop.fs.Path;

/**
 * Maps {@code kelp:///p} onto {@code <mount>/p} and local paths of the mount back onto
 * {@code kelp://} paths.
 */
final class KelpMount {
  static final String MTAB = "/etc/mtab";

  private final String mount;
  private final URI uri;

  KelpMount(String mount, URI uri) {
    String m = mount;
    while (m.length() > 1 && m.endsWith("/")) {
      m = m.substring(0, m.length() - 1);
    }
    this.mount = m;
    this.uri = uri;
  }

  String mount() {
    return mount;
  }

  /**
   * The mount point of type kelp in /etc/mtab that sorts first, or null: the same file system
   * the native library takes for details and snapshots when none is named.
   */
  static String defaultMount() throws IOException {
    String first = null;
    try (BufferedReader r = Files.newBufferedReader(Paths.get(MTAB), StandardCharsets.UTF_8)) {
      for (String line = r.readLine(); line != null; line = r.readLine()) {
        String[] f = line.trim().split("\\s+");
        if (f.length >= 3 && f[2].equals("kelp")) {
          String m = unescape(f[1]);
          if (first == null || m.compareTo(first) < 0) {
            first = m;
          }
        }
      }
    }
    return first;
  }

  /** Undoes the octal escapes (\040 and the like) of a mount table field. */
  private static String unescape(String field) {
    StringBuilder b = new StringBuilder(field.length());
    for (int i = 0; i < field.length(); i++) {
      char c = field.charAt(i);
      if (c == '\\' && isOctal(field, i + 1)) {
        b.append((char) Integer.parseInt(field.substring(i + 1, i + 4), 8));
        i += 3;
      } else {
        b.append(c);
      }
    }
    return b.toString();
  }

  private static boolean isOctal(String s, int from) {
    if (from + 3 > s.length()) {
      return false;
    }
    for (int i = from; i < from + 3; i++) {
      if (s.charAt(i) < '0' || s.charAt(i) > '7') {
        return false;
      }
    }
    return true;
  }

  /**
   * The local path of an absolute, qualified kelp path. A ".." component is refused: it could
   * lead out of the mount.
   */
  String toLocal(Path path) {
    String p = path.toUri().getPath();
    if (p == null || p.isEmpty() || p.charAt(0) != '/') {
      throw new IllegalArgumentException("not an absolute path: " + path);
    }
    for (String part : p.split("/")) {
      if (part.equals("..")) {
        throw new IllegalArgumentException("path leaves the file system: " + path);
      }
    }
    while (p.length() > 1 && p.endsWith("/")) {
      p = p.substring(0, p.length() - 1);
    }
    return p.equals("/") ? mount : mount + p;
  }

  /** The kelp path of a local path inside the mount, or null for one outside it. */
  Path toKelp(String local) {
    String rel;
    if (local.equals(mount)) {
      rel = "/";
    } else if (local.startsWith(mount) && local.charAt(mount.length()) == '/') {
      rel = local.substring(mount.length());
    } else {
      return null;
    }
    // Built from its parts: a name holding ':' must not be read as a scheme.
    return new Path(null, null, rel).makeQualified(uri, null);
  }

  /** The kelp path of a path the native side built from a local path. */
  Path toKelp(Path nativePath) {
    return toKelp(nativePath.toUri().getPath());
  }
}
