/* A plugin of qemu that counts the instructions of all threads of a program and prints their number
   when the program ends. qemu's packages come without a header for plugins; what is needed of it
   stands here. */
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

enum { NO_REGISTERS };

struct qemu_plugin_tb;
void qemu_plugin_register_vcpu_tb_trans_cb(uint64_t id,
                                           void (*translated)(uint64_t, struct qemu_plugin_tb*));
void qemu_plugin_register_vcpu_tb_exec_cb(struct qemu_plugin_tb* block,
                                          void (*executed)(unsigned, void*), int registers,
                                          void* data);
void qemu_plugin_register_atexit_cb(uint64_t id, void (*ended)(uint64_t, void*), void* data);
size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb* block);

__attribute__((visibility("default"))) int qemu_plugin_version = 1;

static uint64_t count;

static void executed(unsigned processor, void* instructions)
{
    (void)processor;
    __atomic_fetch_add(&count, (uintptr_t)instructions, __ATOMIC_RELAXED);
}

static void translated(uint64_t id, struct qemu_plugin_tb* block)
{
    (void)id;
    qemu_plugin_register_vcpu_tb_exec_cb(block, executed, NO_REGISTERS,
                                         (void*)qemu_plugin_tb_n_insns(block));
}

static void ended(uint64_t id, void* data)
{
    (void)id;
    (void)data;
    fprintf(stderr, "%llu instructions\n", (unsigned long long)count);
}

__attribute__((visibility("default"))) int qemu_plugin_install(uint64_t id, const void* machine,
                                                               int argc, char** argv)
{
    (void)machine;
    (void)argc;
    (void)argv;
    qemu_plugin_register_vcpu_tb_trans_cb(id, translated);
    qemu_plugin_register_atexit_cb(id, ended, NULL);
    return 0;
}
