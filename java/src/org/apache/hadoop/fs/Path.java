package org.apache.hadoop.fs;

/** Build and test stand-in for Hadoop's Path; production uses Hadoop's jars. */
public class Path {
  private final String path;

  public Path(String pathString) {
    if (pathString == null) {
      throw new IllegalArgumentException("Can not create a Path from a null string");
    }
    this.path = pathString;
  }

  public String getName() {
    int slash = path.lastIndexOf('/');
    return path.substring(slash + 1);
  }

  @Override
  public String toString() {
    return path;
  }
}
