package org.apache.hadoop.fs.kelp.contract;

import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.contract.AbstractContractRootDirectoryTest;
import org.apache.hadoop.fs.contract.AbstractFSContract;

public class TestKelpContractRootDirectory extends AbstractContractRootDirectoryTest {
  @Override
  protected AbstractFSContract createContract(Configuration conf) {
    return new KelpContract(conf);
  }
}
