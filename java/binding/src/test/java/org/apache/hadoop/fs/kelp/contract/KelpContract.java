package org.apache.hadoop.fs.kelp.contract;

import java.io.IOException;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.contract.AbstractFSContract;
import org.apache.hadoop.fs.kelp.KelpTestEnv;

/** Hadoop's file-system contract for kelp://, in the mode of this JVM. */
public class KelpContract extends AbstractFSContract {
  private FileSystem fs;

  public KelpContract(Configuration conf) {
    super(conf);
    addConfResource("contract/kelp.xml");
  }

  @Override
  public void init() throws IOException {
    super.init();
    Configuration conf = KelpTestEnv.conf();
    conf.addResource(getConf());
    fs = FileSystem.get(KelpTestEnv.ROOT, conf);
  }

  @Override
  public FileSystem getTestFileSystem() {
    return fs;
  }

  @Override
  public String getScheme() {
    return "kelp";
  }

  @Override
  public Path getTestPath() {
    return new Path("/contract-test");
  }
}
