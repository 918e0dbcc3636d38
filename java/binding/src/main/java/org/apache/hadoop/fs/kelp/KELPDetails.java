package org.apache.hadoop.fs.kelp;

/** Facts about one mounted Kelp file system and its storage pool. */
public class KELPDetails {
  private final int version;
  private final String path;
  private final String device;
  private final long blockSize;
  private final int blockGroupFactor;
  private final int dataReplicas;
  private final int maxDataReplicas;
  private final int allowWriteAffinity;

  public KELPDetails(int version, String path, String device, long blockSize,
      int blockGroupFactor, int dataReplicas, int maxDataReplicas, int allowWriteAffinity) {
    this.version = version;
    this.path = path;
    this.device = device;
    this.blockSize = blockSize;
    this.blockGroupFactor = blockGroupFactor;
    this.dataReplicas = dataReplicas;
    this.maxDataReplicas = maxDataReplicas;
    this.allowWriteAffinity = allowWriteAffinity;
  }

  public int getVersion() { return version; }
  public String getPath() { return path; }
  public String getDevice() { return device; }
  public long getBlockSize() { return blockSize; }
  public int getBlockGroupFactor() { return blockGroupFactor; }
  public int getDataReplicas() { return dataReplicas; }
  public int getMaxDataReplicas() { return maxDataReplicas; }
  public int getAllowWriteAffinity() { return allowWriteAffinity; }
}
