package org.apache.hadoop.fs.kelp;

import org.apache.hadoop.fs.BlockLocation;
import org.apache.hadoop.fs.LocatedFileStatus;
import org.apache.hadoop.fs.Path;

/**
 * Builds the objects the native library returns for block locations and listings. The library
 * works out every value itself and hands them over in flat arrays in one call, so that the many
 * small objects of a large answer are made by compiled Java rather than one JNI call at a time.
 *
 * <p>Blocks: {@code offsets[b]} and {@code lengths[b]}; the replicas of block b are
 * {@code replicaHosts[replicaStart[b] .. replicaStart[b + 1])}, its cached hosts
 * {@code cachedHosts[cachedStart[b] .. cachedStart[b + 1])}, both indexes into the host table
 * {@code hostNames} / {@code hostAddresses} (an address is null for a host that does not
 * resolve). {@code setCachedHosts} is called for a block only where {@code cachedLayout[b]} (it
 * was read with cache nodes) and {@code setCachedHosts} is true (the BlockLocation class has it).
 */
final class KELPResultFactory {
  private KELPResultFactory() {}

  /** A BlockLocation[] of {@code count} elements holding blocks 0.. (the rest stay null). */
  static BlockLocation[] blockLocations(int count, String[] hostNames, String[] hostAddresses,
      long[] offsets, long[] lengths, int[] replicaStart, int[] replicaHosts, int[] cachedStart,
      int[] cachedHosts, boolean[] cachedLayout, boolean setCachedHosts) {
    BlockLocation[] out = new BlockLocation[count];
    fill(out, 0, offsets.length, hostNames, hostAddresses, offsets, lengths, replicaStart,
        replicaHosts, cachedStart, cachedHosts, cachedLayout, setCachedHosts);
    return out;
  }

  /**
   * The statuses of a listing, in the given order. Entry e is null where {@code paths[e]} is
   * null; its owner and group are {@code names[owners[e]]} and {@code names[groups[e]]}; its
   * block locations are an array of {@code blockCounts[e]} elements filled from blocks
   * {@code blockFirst[e]} on, {@code blockAvailable[e]} of them.
   */
  static LocatedFileStatus[] statuses(String[] paths, long[] lengths, boolean[] dirs,
      int[] replications, long[] blockSizes, long[] modificationTimes, long[] accessTimes,
      short[] permissions, String[] names, int[] owners, int[] groups, int[] blockCounts,
      int[] blockFirst, int[] blockAvailable, String[] hostNames, String[] hostAddresses,
      long[] offsets, long[] blockLengths, int[] replicaStart, int[] replicaHosts,
      int[] cachedStart, int[] cachedHosts, boolean[] cachedLayout, boolean setCachedHosts) {
    LocatedFileStatus[] out = new LocatedFileStatus[paths.length];
    for (int e = 0; e < paths.length; e++) {
      if (paths[e] == null) {
        continue;
      }
      BlockLocation[] blocks = new BlockLocation[blockCounts[e]];
      fill(blocks, blockFirst[e], blockAvailable[e], hostNames, hostAddresses, offsets,
          blockLengths, replicaStart, replicaHosts, cachedStart, cachedHosts, cachedLayout,
          setCachedHosts);
      KELPFsPermission permission = new KELPFsPermission(permissions[e]);
      out[e] = new LocatedFileStatus(lengths[e], dirs[e], replications[e], blockSizes[e],
          modificationTimes[e], accessTimes[e], permission, names[owners[e]], names[groups[e]],
          null, new Path(paths[e]), permission.getAclBit(), false, false, blocks);
    }
    return out;
  }

  private static void fill(BlockLocation[] out, int first, int available, String[] hostNames,
      String[] hostAddresses, long[] offsets, long[] lengths, int[] replicaStart,
      int[] replicaHosts, int[] cachedStart, int[] cachedHosts, boolean[] cachedLayout, boolean setCachedHosts) {
    int n = Math.min(out.length, available);
    for (int i = 0; i < n; i++) {
      int b = first + i;
      int from = replicaStart[b];
      int replicas = replicaStart[b + 1] - from;
      String[] names = new String[replicas];
      String[] hosts = new String[replicas];
      for (int r = 0; r < replicas; r++) {
        int h = replicaHosts[from + r];
        names[r] = hostAddresses[h];
        hosts[r] = hostNames[h];
      }
      BlockLocation location = new BlockLocation(names, hosts, offsets[b], lengths[b]);
      if (setCachedHosts && cachedLayout[b]) {
        int cachedFrom = cachedStart[b];
        String[] cached = new String[cachedStart[b + 1] - cachedFrom];
        for (int k = 0; k < cached.length; k++) {
          cached[k] = hostNames[cachedHosts[cachedFrom + k]];
        }
        location.setCachedHosts(cached);
      }
      out[i] = location;
    }
  }
}
