// The counters of a stream's statistics: their names in each peer's schema, and their place among the values.
#pragma once

// The formatter of this list does not come to rest: each of its runs moves the entries on.
// clang-format off
/** X(NAME, INDEX, CAMEL_CASE_NAME), the last for setters of the form setNAME. */
#define BENCH_COUNTERS(X) \
    X(sync_msg_tx_cnt, 0, SyncMsgTxCnt) \
    X(sync_msg_rx_cnt, 1, SyncMsgRxCnt) \
    X(sync_msg_err_tx_cnt, 2, SyncMsgErrTxCnt) \
    X(sync_msg_err_rx_cnt, 3, SyncMsgErrRxCnt) \
    X(sync_msg_err_cnt, 4, SyncMsgErrCnt) \
    X(del_req_msg_tx_cnt, 5, DelReqMsgTxCnt) \
    X(del_req_msg_rx_cnt, 6, DelReqMsgRxCnt) \
    X(del_req_msg_err_tx_cnt, 7, DelReqMsgErrTxCnt) \
    X(del_req_msg_err_rx_cnt, 8, DelReqMsgErrRxCnt) \
    X(del_req_msg_err_cnt, 9, DelReqMsgErrCnt) \
    X(del_res_msg_tx_cnt, 10, DelResMsgTxCnt) \
    X(del_res_msg_rx_cnt, 11, DelResMsgRxCnt) \
    X(del_res_msg_err_tx_cnt, 12, DelResMsgErrTxCnt) \
    X(del_res_msg_err_rx_cnt, 13, DelResMsgErrRxCnt) \
    X(del_res_msg_err_cnt, 14, DelResMsgErrCnt) \
    X(pdel_req_msg_tx_cnt, 15, PdelReqMsgTxCnt) \
    X(pdel_req_msg_rx_cnt, 16, PdelReqMsgRxCnt) \
    X(pdel_req_msg_err_tx_cnt, 17, PdelReqMsgErrTxCnt) \
    X(pdel_req_msg_err_rx_cnt, 18, PdelReqMsgErrRxCnt) \
    X(pdel_req_msg_err_cnt, 19, PdelReqMsgErrCnt) \
    X(pdel_res_msg_tx_cnt, 20, PdelResMsgTxCnt) \
    X(pdel_res_msg_rx_cnt, 21, PdelResMsgRxCnt) \
    X(pdel_res_msg_err_tx_cnt, 22, PdelResMsgErrTxCnt) \
    X(pdel_res_msg_err_rx_cnt, 23, PdelResMsgErrRxCnt) \
    X(pdel_res_msg_err_cnt, 24, PdelResMsgErrCnt) \
    X(follow_up_msg_tx_cnt, 25, FollowUpMsgTxCnt) \
    X(follow_up_msg_rx_cnt, 26, FollowUpMsgRxCnt) \
    X(follow_up_msg_err_tx_cnt, 27, FollowUpMsgErrTxCnt) \
    X(follow_up_msg_err_rx_cnt, 28, FollowUpMsgErrRxCnt) \
    X(follow_up_msg_err_cnt, 29, FollowUpMsgErrCnt) \
    X(pdel_follow_up_msg_tx_cnt, 30, PdelFollowUpMsgTxCnt) \
    X(pdel_follow_up_msg_rx_cnt, 31, PdelFollowUpMsgRxCnt) \
    X(pdel_follow_up_msg_err_tx_cnt, 32, PdelFollowUpMsgErrTxCnt) \
    X(pdel_follow_up_msg_err_rx_cnt, 33, PdelFollowUpMsgErrRxCnt) \
    X(pdel_follow_up_msg_err_cnt, 34, PdelFollowUpMsgErrCnt) \
    X(ann_msg_tx_cnt, 35, AnnMsgTxCnt) \
    X(ann_msg_rx_cnt, 36, AnnMsgRxCnt) \
    X(ann_msg_err_tx_cnt, 37, AnnMsgErrTxCnt) \
    X(ann_msg_err_rx_cnt, 38, AnnMsgErrRxCnt) \
    X(ann_msg_err_cnt, 39, AnnMsgErrCnt) \
    X(sig_msg_tx_cnt, 40, SigMsgTxCnt) \
    X(sig_msg_rx_cnt, 41, SigMsgRxCnt) \
    X(sig_msg_err_tx_cnt, 42, SigMsgErrTxCnt) \
    X(sig_msg_err_rx_cnt, 43, SigMsgErrRxCnt) \
    X(sig_msg_err_cnt, 44, SigMsgErrCnt) \
    X(mgmt_msg_tx_cnt, 45, MgmtMsgTxCnt) \
    X(mgmt_msg_rx_cnt, 46, MgmtMsgRxCnt) \
    X(mgmt_msg_err_tx_cnt, 47, MgmtMsgErrTxCnt) \
    X(mgmt_msg_err_rx_cnt, 48, MgmtMsgErrRxCnt) \
    X(mgmt_msg_err_cnt, 49, MgmtMsgErrCnt)
// clang-format on
