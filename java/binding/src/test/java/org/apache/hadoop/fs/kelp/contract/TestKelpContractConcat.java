package org.apache.hadoop.fs.kelp.contract;

import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.contract.AbstractContractConcatTest;
import org.apache.hadoop.fs.contract.AbstractFSContract;

public class TestKelpContractConcat extends AbstractContractConcatTest {
  @Override
  protected AbstractFSContract createContract(Configuration conf) {
    return new KelpContract(conf);
  }
}
