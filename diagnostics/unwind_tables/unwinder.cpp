#include "diagnostics/unwind_tables/unwinder.h"

#include <sys/auxv.h>

#include "diagnostics/unwind_tables/expression.h"

namespace gpal::detail
{

Unwinder::Unwinder(const Registers& start)
    : m_registers(start), m_stack(stackInUse(start.value[STACK_POINTER]))
{
    enter(true);
}

/// Finds out about the place where the registers stand; \p interrupted says whether no call was
/// made there.
void Unwinder::enter(bool interrupted)
{
    m_interrupted = interrupted;
    const std::uintptr_t address = lookUpAddress();
    if (address == m_place && !m_beforeSignal) { // GCOVR_EXCL_BR_LINE: as in step()
        return;                                  // a function that calls itself
    }
    m_place = address;
    if (!m_object.holds(address)) {
        m_object = loadedObjectAt(address);
    }
    m_described = findUnwindEntry(m_object, address, m_entry);
    m_hasRules = m_described && findFrameRules(m_entry, address, m_rules);
    m_beforeSignal.reset();
    if (!interrupted && (!m_described || isTrampoline())) {
        m_beforeSignal = registersBeforeSignal(m_registers, m_stack);
    }
}

/// The same for what a signal interrupted, which may have been on another stack.
void Unwinder::enterInterrupted()
{
    m_stack = stackInUse(m_registers.value[STACK_POINTER]);
    enter(true);
}

std::uintptr_t Unwinder::place() const
{
    // No call leads into a trampoline: the kernel let the signal handler return to its start.
    const bool called = !m_interrupted && !isTrampoline();
    return m_registers.value[PC] - (called ? 1 : 0);
}

bool Unwinder::stepFromFirstInstruction()
{
    const bool returned = returnFromFirstInstruction(m_registers, m_stack);
    enter(!returned);
    return returned;
}

bool Unwinder::compute(const std::uint8_t* expression, const Registers& registers,
                       std::optional<std::uint64_t> pushed, std::uint64_t& result)
{
    const auto computed = evaluate(expression, registers, m_stack, pushed);
    result = computed.value_or(0);
    return computed.has_value();
}

bool Unwinder::findBase(const FrameBase& rule, std::uint64_t& base)
{
    if (rule.expression != nullptr) {
        return compute(rule.expression, m_registers, std::nullopt, base);
    }
    if (rule.number >= REGISTER_COUNT) {
        return false;
    }
    base = m_registers.value[rule.number] + rule.offset;
    return true;
}

bool Unwinder::findCallersValue(int number, std::uint64_t base, const Registers& callee)
{
    const RegisterRule& rule = m_rules.rules[number];
    std::uint64_t& value = m_registers.value[number];
    const auto* expression = reinterpret_cast<const std::uint8_t*>(rule.operand);
    std::uint64_t address = 0;
    switch (rule.kind) {
    case RegisterRule::SAVED_AT_OFFSET:
        return m_stack.read(base + rule.operand, value);
    case RegisterRule::BASE_PLUS_OFFSET:
        value = base + rule.operand;
        return true;
    case RegisterRule::SAVED_AT_EXPRESSION:
        return compute(expression, callee, base, address) && m_stack.read(address, value);
    case RegisterRule::EXPRESSION:
        return compute(expression, callee, base, value);
    case RegisterRule::IN_REGISTER:
        if (rule.operand < REGISTER_COUNT) {
            value = callee.value[rule.operand];
            return true;
        }
        return false;
    default: // Nothing is known better than what there was.
        value = callee.value[number];
        return true;
    }
}

Unwinder::Step Unwinder::step()
{
    // GCOVR_EXCL_START: processors whose tables describe the trampoline never come here
    if (m_beforeSignal) {
        m_registers = *m_beforeSignal;
        enterInterrupted();
        return Step::CALLER;
    }
    // GCOVR_EXCL_STOP
    if (!m_hasRules) {
        return Step::LOST;
    }
    const RegisterRule ofReturnAddress = m_rules.ruleFor(RETURN_ADDRESS);
    if (ofReturnAddress.kind == RegisterRule::UNDEFINED) {
        const bool inEntry = m_entry.functionStart == getauxval(AT_ENTRY);
        return inEntry ? Step::PROGRAM_ENTRY : Step::OUTERMOST;
    }
    // A function that has called another one has put its return address elsewhere.
    const bool elsewhere = RETURN_ADDRESS == PC || !m_interrupted;
    const bool lost = elsewhere && ofReturnAddress.kind == RegisterRule::UNCHANGED;
    return lost || !applyRules() ? Step::LOST : Step::CALLER;
}

bool Unwinder::applyRules()
{
    const bool toInterrupted = isTrampoline();
    const std::uint64_t sp = m_registers.value[STACK_POINTER];
    std::uint64_t base = 0;
    if (!findBase(m_rules.base, base)) {
        return false;
    }
    const Registers callee = m_registers;
    m_registers.value[STACK_POINTER] = base;
    for (std::uint64_t left = m_rules.known; left != 0; left &= left - 1) {
        const int number = __builtin_ctzll(left);
        if (!findCallersValue(number, base, callee)) {
            return false;
        }
    }
    // A caller's frame lies above, save that of one without a frame that was interrupted; anything
    // else would lead a walk in circles. Only what a signal interrupted may be on another stack.
    const std::uint64_t callersSp = m_registers.value[STACK_POINTER];
    if (!toInterrupted && (m_interrupted ? callersSp < sp : callersSp <= sp)) {
        return false;
    }
    m_registers.value[PC] = withoutSignature(m_registers.value[RETURN_ADDRESS]);
    if (toInterrupted) {
        enterInterrupted();
    } else {
        enter(false);
    }
    return true;
}

} // namespace gpal::detail
