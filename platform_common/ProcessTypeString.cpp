#include <gpal/ProcessTypeString.h>

const std::string ProcessTypeString::GENERIC_THREAD = "generic_thread";
const std::string ProcessTypeString::GENERIC_PROCESS = "generic_process";
const std::string ProcessTypeString::OS_TIMER_THREAD = "os_timer_thread";
const std::string ProcessTypeString::C_THREAD_LOW = "c_thread_low";
const std::string ProcessTypeString::C_THREAD_NORMAL = "c_thread_normal";
const std::string ProcessTypeString::C_THREAD_HIGH = "c_thread_high";
const std::string ProcessTypeString::C_THREAD_TIMER = "c_thread_timer";
const std::string ProcessTypeString::C_THREAD_VOICE = "c_thread_voice";
const std::string ProcessTypeString::PHONELET_LAUNCHER_PROCESS = "phonelet_launcher_process";
const std::string ProcessTypeString::SVC_CONFIG_PROCESS = "svc_config_process";
