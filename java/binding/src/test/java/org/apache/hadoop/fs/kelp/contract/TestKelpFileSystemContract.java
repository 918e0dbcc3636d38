package org.apache.hadoop.fs.kelp.contract;

import org.apache.hadoop.fs.FileSystemContractBaseTest;
import org.apache.hadoop.fs.kelp.KelpTestEnv;
import org.junit.Before;

/** Hadoop's older file-system contract suite against kelp://. */
public class TestKelpFileSystemContract extends FileSystemContractBaseTest {
  @Before
  public void setUp() throws Exception {
    fs = KelpTestEnv.newFileSystem();
  }

  @Override
  protected String getDefaultWorkingDirectory() {
    return "/user/" + System.getProperty("user.name");
  }
}
