"""What the framework's operations are called in traces and among a core's inputs, and values with a meaning."""

INIT = "INIT"
CONNECT = "SESSION_CONNECT"
DISCONNECT = "SESSION_DISCONNECT"
DESTROY = "SESSION_DESTROY"
GET_WORKLOAD = "GET_SOC_WORKLOAD"
GET_POWER = "GET_RAPL_POWER"
GET_CLIP_REASONS = "GET_IA_CLIP_REASONS"
SET_CEILING = "SET_PERF_PREFERENCE_MAX"
SET_FLOOR = "SET_PERF_PREFERENCE_MIN"
SET_PL1 = "SET_RAPL_POWER_LIMIT_1"

FULL_PERFORMANCE = 10000
CLIP_BIT = 0x400  # of the clip reasons: a power limit clips the processor


def is_write(name):
    return name.startswith("SET_")
