package org.apache.hadoop.fs.kelp.contract;

import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.contract.AbstractContractSeekTest;
import org.apache.hadoop.fs.contract.AbstractFSContract;

public class TestKelpContractSeek extends AbstractContractSeekTest {
  @Override
  protected AbstractFSContract createContract(Configuration conf) {
    return new KelpContract(conf);
  }
}
