"""Texts of the service by which tools tell what it has just done."""

# in the service data file
CAPABILITY_CHECKED = "Capability key is present"

# in the diagnostic log
LOOP_STARTS = "KV scaling is started : "
LOOP_STOPS = "Stop is called from the registry "
PROCESS_WATCHER_STOPPED = "processid Stop Service is Called"
TORN_DOWN = "Kiostot registry: Stop KV completed"
