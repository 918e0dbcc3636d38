package org.apache.hadoop.fs.kelp.apps;

import java.io.BufferedReader;
import java.io.IOException;
import java.io.InputStreamReader;
import java.io.OutputStreamWriter;
import java.io.Writer;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.Comparator;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.Random;
import java.util.StringTokenizer;
import java.util.TreeMap;

import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FileStatus;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.io.LongWritable;
import org.apache.hadoop.io.Text;
import org.apache.hadoop.mapreduce.InputSplit;
import org.apache.hadoop.mapreduce.Job;
import org.apache.hadoop.mapreduce.Mapper;
import org.apache.hadoop.mapreduce.Reducer;
import org.apache.hadoop.mapreduce.lib.input.FileInputFormat;
import org.apache.hadoop.mapreduce.lib.input.FileSplit;
import org.apache.hadoop.mapreduce.lib.input.TextInputFormat;
import org.apache.hadoop.mapreduce.lib.output.FileOutputFormat;

/**
 * A word count on Hadoop's MapReduce local job runner. It writes a generated
 * text of known word counts into an input directory, runs the job from that
 * directory to an output directory (both on any Hadoop file system, kelp:// included), and reads
 * the result back; the job's scratch files stay under a local directory.
 *
 * <p>Usage: {@code WordCount INPUT_DIR OUTPUT_DIR SCRATCH_DIR [MiB]}; exits
 * with status 1 when the counts differ from those written.
 */
public final class WordCount {
  /** Bytes per block of the generated input. */
  public static final long BLOCK_SIZE = 4L << 20;

  private static final String[] WORDS = {
    "kelp", "block", "node", "replica", "disk", "pool", "snapshot", "stream",
    "listing", "daemon", "hadoop", "split", "mapper", "reducer", "cluster",
    "mount", "status", "owner", "group", "permission", "acl", "attribute",
    "rename", "delete", "create", "append", "sync", "topology", "host", "cache",
  };

  public static final class TokenMapper extends Mapper<LongWritable, Text, Text, LongWritable> {
    private static final LongWritable ONE = new LongWritable(1);
    private final Text word = new Text();

    @Override
    protected void map(LongWritable offset, Text line, Context context)
        throws IOException, InterruptedException {
      StringTokenizer words = new StringTokenizer(line.toString());
      while (words.hasMoreTokens()) {
        word.set(words.nextToken());
        context.write(word, ONE);
      }
    }
  }

  public static final class SumReducer extends Reducer<Text, LongWritable, Text, LongWritable> {
    private final LongWritable sum = new LongWritable();

    @Override
    protected void reduce(Text word, Iterable<LongWritable> counts, Context context)
        throws IOException, InterruptedException {
      long total = 0;
      for (LongWritable c : counts) {
        total += c.get();
      }
      sum.set(total);
      context.write(word, sum);
    }
  }

  /** One input split of the job: where it starts, how long, which hosts hold it. */
  public static final class Split {
    public final long start;
    public final long length;
    public final List<String> hosts;

    Split(long start, long length, String[] hosts) {
      this.start = start;
      this.length = length;
      this.hosts = List.of(hosts);
    }

    @Override
    public String toString() {
      return String.format("bytes %,d+%,d (block %d): %s", start, length, start / BLOCK_SIZE,
          String.join(", ", hosts));
    }
  }

  /** What a run saw: the splits, the counts written and the counts the job produced. */
  public static final class Result {
    public final List<Split> splits;
    public final Map<String, Long> expected;
    public final Map<String, Long> counted;
    public final long inputBytes;
    public final boolean succeeded;

    Result(List<Split> splits, Map<String, Long> expected, Map<String, Long> counted,
        long inputBytes, boolean succeeded) {
      this.splits = splits;
      this.expected = expected;
      this.counted = counted;
      this.inputBytes = inputBytes;
      this.succeeded = succeeded;
    }

    public boolean countsRight() {
      return succeeded && expected.equals(counted);
    }

    /** The most frequent words of the job's result, ties by word. */
    public List<Map.Entry<String, Long>> top(int n) {
      List<Map.Entry<String, Long>> all = new ArrayList<>(counted.entrySet());
      all.sort(Map.Entry.<String, Long>comparingByValue(Comparator.reverseOrder())
          .thenComparing(Map.Entry.comparingByKey()));
      return all.subList(0, Math.min(n, all.size()));
    }
  }

  private WordCount() {}

  /**
   * Writes at least {@code minBytes} of lines of words, the earlier words of
   * the vocabulary the more frequent, in blocks of {@link #BLOCK_SIZE} with
   * three replicas, and returns how often each word was written.
   */
  public static Map<String, Long> writeInput(FileSystem fs, Path file, long minBytes)
      throws IOException {
    Map<String, Long> counts = new HashMap<>();
    Random random = new Random(20261124L);
    long written = 0;
    try (Writer w = new OutputStreamWriter(
        fs.create(file, true, 1 << 16, (short) 3, BLOCK_SIZE), StandardCharsets.UTF_8)) {
      StringBuilder line = new StringBuilder(128);
      while (written < minBytes) {
        line.setLength(0);
        int n = 6 + random.nextInt(10);
        for (int i = 0; i < n; i++) {
          // Squaring a uniform draw favours the front of the list.
          double u = random.nextDouble();
          String word = WORDS[(int) (u * u * WORDS.length)];
          counts.merge(word, 1L, Long::sum);
          if (i > 0) {
            line.append(' ');
          }
          line.append(word);
        }
        line.append('\n');
        w.append(line);
        written += line.length();
      }
    }
    return counts;
  }

  /** The job's settings: local runner, scratch under {@code scratch}, two maps at a time. */
  public static Configuration jobConf(Configuration base, String scratch) {
    Configuration conf = new Configuration(base);
    conf.set("mapreduce.framework.name", "local");
    conf.set("hadoop.tmp.dir", scratch);
    conf.set("mapreduce.jobtracker.staging.root.dir", scratch + "/staging");
    conf.set("mapreduce.cluster.local.dir", scratch + "/local");
    conf.setInt("mapreduce.local.map.tasks.maximum", 2);
    // The options were parsed by the caller; this keeps the job from saying so.
    conf.setBoolean("mapreduce.client.genericoptionsparser.used", true);
    return conf;
  }

  /** The job's input splits as the job itself computes them. */
  public static List<Split> splits(Job job) throws IOException, InterruptedException {
    List<Split> result = new ArrayList<>();
    for (InputSplit s : new TextInputFormat().getSplits(job)) {
      FileSplit f = (FileSplit) s;
      result.add(new Split(f.getStart(), f.getLength(), f.getLocations()));
    }
    result.sort(Comparator.comparingLong(s -> s.start));
    return result;
  }

  /** Every "word TAB count" line of the job's part files. */
  public static Map<String, Long> readCounts(FileSystem fs, Path outDir) throws IOException {
    Map<String, Long> counts = new TreeMap<>();
    for (FileStatus st : fs.listStatus(outDir)) {
      if (!st.getPath().getName().startsWith("part-")) {
        continue;
      }
      try (BufferedReader r = new BufferedReader(
          new InputStreamReader(fs.open(st.getPath()), StandardCharsets.UTF_8))) {
        for (String line; (line = r.readLine()) != null; ) {
          int tab = line.indexOf('\t');
          counts.merge(line.substring(0, tab), Long.parseLong(line.substring(tab + 1)), Long::sum);
        }
      }
    }
    return counts;
  }

  /** Writes the input into {@code input}, runs the job and reads its result. */
  public static Result run(Configuration base, Path input, Path output, String scratch,
      long inputBytes) throws IOException, InterruptedException, ClassNotFoundException {
    Configuration conf = jobConf(base, scratch);
    FileSystem inFs = input.getFileSystem(conf);
    FileSystem outFs = output.getFileSystem(conf);
    inFs.delete(input, true);
    Path text = new Path(input, "words.txt");
    Map<String, Long> expected = writeInput(inFs, text, inputBytes);
    long length = inFs.getFileStatus(text).getLen();
    outFs.delete(output, true);

    Job job = Job.getInstance(conf, "kelp word count");
    job.setJarByClass(WordCount.class);
    job.setMapperClass(TokenMapper.class);
    job.setCombinerClass(SumReducer.class);
    job.setReducerClass(SumReducer.class);
    job.setOutputKeyClass(Text.class);
    job.setOutputValueClass(LongWritable.class);
    job.setNumReduceTasks(1);
    FileInputFormat.addInputPath(job, input);
    FileOutputFormat.setOutputPath(job, output);

    List<Split> splits = splits(job);
    boolean ok = job.waitForCompletion(false);
    Map<String, Long> counted = ok ? readCounts(outFs, output) : Map.of();
    return new Result(splits, expected, counted, length, ok);
  }

  public static void main(String[] args) throws Exception {
    if (args.length < 3 || args.length > 4) {
      System.err.println("usage: WordCount INPUT_DIR OUTPUT_DIR SCRATCH_DIR [MiB]");
      System.exit(2);
    }
    long mib = args.length == 4 ? Long.parseLong(args[3]) : 18;
    Path input = new Path(args[0]);
    Path output = new Path(args[1]);
    System.out.println("Word count on the MapReduce local job runner");
    System.out.println("  input:  " + input + " (" + mib + " MiB of generated text, "
        + (BLOCK_SIZE >> 20) + " MiB blocks)");
    System.out.println("  output: " + output);
    long t0 = System.nanoTime();
    Result r = run(new Configuration(), input, output, args[2], mib << 20);
    long ms = (System.nanoTime() - t0) / 1_000_000;
    System.out.printf("The job's %d input splits of %,d bytes, and the hosts holding each:%n",
        r.splits.size(), r.inputBytes);
    for (Split s : r.splits) {
      System.out.println("  " + s);
    }
    System.out.println("Job " + (r.succeeded ? "succeeded" : "FAILED") + " in " + ms + " ms");
    System.out.println("Top words of " + output + ":");
    for (Map.Entry<String, Long> e : r.top(10)) {
      System.out.printf("  %-12s %,d (written %,d)%n", e.getKey(), e.getValue(),
          r.expected.getOrDefault(e.getKey(), 0L));
    }
    if (!r.countsRight()) {
      System.out.println("Word count: the counts differ from those written: expected "
          + new TreeMap<>(r.expected) + ", counted " + r.counted);
      System.exit(1);
    }
    System.out.println("Word count: all " + r.counted.size() + " words counted right ("
        + r.expected.values().stream().mapToLong(Long::longValue).sum() + " words)");
  }
}
