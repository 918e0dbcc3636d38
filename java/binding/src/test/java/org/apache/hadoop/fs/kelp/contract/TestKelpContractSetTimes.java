package org.apache.hadoop.fs.kelp.contract;

import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.contract.AbstractContractSetTimesTest;
import org.apache.hadoop.fs.contract.AbstractFSContract;

public class TestKelpContractSetTimes extends AbstractContractSetTimesTest {
  @Override
  protected AbstractFSContract createContract(Configuration conf) {
    return new KelpContract(conf);
  }
}
