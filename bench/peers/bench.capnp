# The benchmarks' records for Cap'n Proto.
@0xb1d7c0a64e3f9258;

using Cxx = import "/capnp/c++.capnp";
$Cxx.namespace("bench_capnp");

struct Command {
  clockId @0 :UInt8;
}

struct ClockQuality {
  clockClass @0 :UInt8;
  offsetScaledLogVar @1 :Int16;
  accuracy @2 :UInt32;
}

struct DefaultDs {
  clockId @0 :UInt64;
  quality @1 :ClockQuality;
  numberPorts @2 :UInt16;
  priority1 @3 :UInt8;
  priority2 @4 :UInt8;
  domain @5 :UInt8;
  twoStep @6 :Bool;
  slaveOnly @7 :Bool;
  localPriority @8 :UInt8;
}

struct TimeProperties {
  utcOffset @0 :Int16;
  utcOffsetValid @1 :Bool;
  leap59 @2 :Bool;
  leap61 @3 :Bool;
  timeTraceable @4 :Bool;
  frequencyTraceable @5 :Bool;
  ptpTimescale @6 :Bool;
  timeSource @7 :UInt32;
  vPortIndex @8 :UInt8;
}

struct Clock {
  modify @0 :Bool;
  version @1 :UInt32;
  profile @2 :UInt32;
  defaultDs @3 :DefaultDs;
  timeProperties @4 :TimeProperties;
  revertive @5 :Bool;
  handle @6 :UInt64;
  type @7 :UInt32;
  mode @8 :UInt32;
  warmRestart @9 :Bool;
  networkType @10 :UInt32;
  trackingType @11 :UInt32;
}

struct Counters {
  syncMsgTxCnt @0 :UInt64;
  syncMsgRxCnt @1 :UInt64;
  syncMsgErrTxCnt @2 :UInt64;
  syncMsgErrRxCnt @3 :UInt64;
  syncMsgErrCnt @4 :UInt64;
  delReqMsgTxCnt @5 :UInt64;
  delReqMsgRxCnt @6 :UInt64;
  delReqMsgErrTxCnt @7 :UInt64;
  delReqMsgErrRxCnt @8 :UInt64;
  delReqMsgErrCnt @9 :UInt64;
  delResMsgTxCnt @10 :UInt64;
  delResMsgRxCnt @11 :UInt64;
  delResMsgErrTxCnt @12 :UInt64;
  delResMsgErrRxCnt @13 :UInt64;
  delResMsgErrCnt @14 :UInt64;
  pdelReqMsgTxCnt @15 :UInt64;
  pdelReqMsgRxCnt @16 :UInt64;
  pdelReqMsgErrTxCnt @17 :UInt64;
  pdelReqMsgErrRxCnt @18 :UInt64;
  pdelReqMsgErrCnt @19 :UInt64;
  pdelResMsgTxCnt @20 :UInt64;
  pdelResMsgRxCnt @21 :UInt64;
  pdelResMsgErrTxCnt @22 :UInt64;
  pdelResMsgErrRxCnt @23 :UInt64;
  pdelResMsgErrCnt @24 :UInt64;
  followUpMsgTxCnt @25 :UInt64;
  followUpMsgRxCnt @26 :UInt64;
  followUpMsgErrTxCnt @27 :UInt64;
  followUpMsgErrRxCnt @28 :UInt64;
  followUpMsgErrCnt @29 :UInt64;
  pdelFollowUpMsgTxCnt @30 :UInt64;
  pdelFollowUpMsgRxCnt @31 :UInt64;
  pdelFollowUpMsgErrTxCnt @32 :UInt64;
  pdelFollowUpMsgErrRxCnt @33 :UInt64;
  pdelFollowUpMsgErrCnt @34 :UInt64;
  annMsgTxCnt @35 :UInt64;
  annMsgRxCnt @36 :UInt64;
  annMsgErrTxCnt @37 :UInt64;
  annMsgErrRxCnt @38 :UInt64;
  annMsgErrCnt @39 :UInt64;
  sigMsgTxCnt @40 :UInt64;
  sigMsgRxCnt @41 :UInt64;
  sigMsgErrTxCnt @42 :UInt64;
  sigMsgErrRxCnt @43 :UInt64;
  sigMsgErrCnt @44 :UInt64;
  mgmtMsgTxCnt @45 :UInt64;
  mgmtMsgRxCnt @46 :UInt64;
  mgmtMsgErrTxCnt @47 :UInt64;
  mgmtMsgErrRxCnt @48 :UInt64;
  mgmtMsgErrCnt @49 :UInt64;
}

struct StreamState {
  streamId @0 :UInt32;
  port @1 :UInt16;
  family @2 :UInt32;
  scopeId @3 :UInt32;
  addressHigh @4 :UInt64;
  addressLow @5 :UInt64;
  counters @6 :Counters;
  encapsulation @7 :UInt32;
  mac @8 :UInt64;
  l2Type @9 :UInt32;
  l2Value @10 :UInt32;
}

struct Statistics {
  count @0 :UInt32;
  streams @1 :List(StreamState);
}

struct Stream {
  streamId @0 :UInt32;
  port @1 :UInt16;
  address @2 :UInt32;
  state @3 :UInt8;
  encapsulation @4 :UInt32;
  mac @5 :UInt64;
}

struct StreamList {
  streams @0 :List(Stream);
}
