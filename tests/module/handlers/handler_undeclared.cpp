// The same handler without the library's declaration in sight: it gets the visibility that this source is compiled with.

extern "C" void ptp_cfg_ptp_port_delete_cmd_message_handler(void *, unsigned, void *context, void *, unsigned *) {
    ++*static_cast<int *>(context);
}
