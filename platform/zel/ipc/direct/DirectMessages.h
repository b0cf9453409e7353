#pragma once
// What a module and a client in the same process say to each other, beside EnumerationReturnedEngineToClient of the engine
// link. The module is the client's engine.
//
// Thread rule: as zel::Message.

#include <zel/foundation/Array.h>
#include <zel/ipc/Message.h>
#include <zel/model/devices/DeviceImp.h>
#include <zel/model/state/Changes.h>
#include <zel/model/state/StateManager.h>

#include <memory>
#include <optional>
#include <vector>

namespace zel {

class IndicatorContext;

/// A message that goes from thread to thread and never leaves the process: no number, no form to be written in.
class ZEL_EXPORT DirectMessage : public Message
{
public:
    static constexpr int kTypeCode = 0;

    int typeCode() const noexcept override { return kTypeCode; }
    /// About how much memory it holds.
    virtual std::size_t bytes() const noexcept = 0;

protected:
    DirectMessage() : Message(Priority::Normal) {}

private:
    void write(std::string& payload) const override; // an assertion failure
};

// ---- client to module

/// It knows how to do to the module what it asks for.
class ZEL_EXPORT ClientMessage : public DirectMessage
{
public:
    /// Throws what the context throws. On the module's main flow.
    virtual void process(IndicatorContext& context) const = 0;
    /// Goes before all others, and is heard of before it is processed.
    virtual bool endsModule() const noexcept { return false; }
    std::size_t bytes() const noexcept override { return sizeof(ClientMessage); }
};

/// About devices and indicators; see IndicatorContext for what an empty text means.
class ZEL_EXPORT IndicatorMessage : public ClientMessage
{
public:
    std::size_t bytes() const noexcept override;

protected:
    IndicatorMessage(String device, String indicator)
        : m_device(std::move(device)), m_indicator(std::move(indicator))
    {}
    String m_device, m_indicator;
};

class ZEL_EXPORT WatchClientToEngine final : public IndicatorMessage
{
public:
    WatchClientToEngine(String device, String indicator)
        : IndicatorMessage(std::move(device), std::move(indicator))
    {}
    std::string_view name() const noexcept override { return "WatchClientToEngine"; }
    void process(IndicatorContext& context) const override;
};

class ZEL_EXPORT ForceUpdateClientToEngine final : public IndicatorMessage
{
public:
    ForceUpdateClientToEngine(String device, String indicator)
        : IndicatorMessage(std::move(device), std::move(indicator))
    {}
    std::string_view name() const noexcept override { return "ForceUpdateClientToEngine"; }
    void process(IndicatorContext& context) const override;
};

class ZEL_EXPORT SetUpdateIntervalClientToEngine final : public IndicatorMessage
{
public:
    SetUpdateIntervalClientToEngine(String device, String indicator, double seconds)
        : IndicatorMessage(std::move(device), std::move(indicator)), m_seconds(seconds)
    {}
    std::string_view name() const noexcept override { return "SetUpdateIntervalClientToEngine"; }
    void process(IndicatorContext& context) const override;

private:
    double m_seconds;
};

class ZEL_EXPORT EnumerationRequestClientToEngine final : public ClientMessage
{
public:
    std::string_view name() const noexcept override { return "EnumerationRequestClientToEngine"; }
    void process(IndicatorContext& context) const override;
};

class ZEL_EXPORT StopClientToEngine final : public ClientMessage
{
public:
    std::string_view name() const noexcept override { return "StopClientToEngine"; }
    bool endsModule() const noexcept override { return true; }
    void process(IndicatorContext& context) const override;
};

// ---- module to client

/// What an indicator read of a device. The device is a copy without properties: the readings are all that is news.
class ZEL_EXPORT DeviceUpdateEngineToClient final : public DirectMessage
{
public:
    DeviceUpdateEngineToClient(DeviceImp const& device, Array<PropertyImp> readings);
    std::string_view name() const noexcept override { return "DeviceUpdateEngineToClient"; }
    std::size_t bytes() const noexcept override { return m_bytes; }
    DeviceImp& device() const noexcept { return *m_device; }
    Array<PropertyImp>& readings() noexcept { return m_readings; }
    Array<PropertyImp> const& readings() const noexcept { return m_readings; }

private:
    std::unique_ptr<DeviceImp> m_device;
    Array<PropertyImp> m_readings;
    std::size_t m_bytes;
};

/// The net of what came, went and changed since the last such message. The state holds the devices and alerts that came or
/// changed and are still there.
class ZEL_EXPORT ChangesEngineToClient final : public DirectMessage
{
public:
    ChangesEngineToClient(std::vector<Change> changes, std::shared_ptr<StateManager const> state)
        : m_changes(std::move(changes)), m_state(std::move(state))
    {}
    std::string_view name() const noexcept override { return "ChangesEngineToClient"; }
    std::size_t bytes() const noexcept override { return m_changes.size() * sizeof(Change); }
    std::vector<Change> const& changes() const noexcept { return m_changes; }
    StateManager const& state() const noexcept { return *m_state; }

private:
    std::vector<Change> m_changes;
    std::shared_ptr<StateManager const> m_state; // never null
};

/// Why the module did not do what the client asked for.
class ZEL_EXPORT RequestRefusedEngineToClient final : public DirectMessage
{
public:
    explicit RequestRefusedEngineToClient(String reason) : m_reason(std::move(reason)) {}
    std::string_view name() const noexcept override { return "RequestRefusedEngineToClient"; }
    std::size_t bytes() const noexcept override;
    String const& reason() const noexcept { return m_reason; }

private:
    String m_reason;
};

/// So many readings and refusals did not wait any longer for a client that did not take them.
class ZEL_EXPORT ReadingsLostEngineToClient final : public DirectMessage
{
public:
    explicit ReadingsLostEngineToClient(std::uint64_t count) : m_count(count) {}
    std::string_view name() const noexcept override { return "ReadingsLostEngineToClient"; }
    std::size_t bytes() const noexcept override { return sizeof *this; }
    std::uint64_t count() const noexcept { return m_count; }

private:
    std::uint64_t m_count;
};

/// Nothing follows.
class ZEL_EXPORT ModuleEndedEngineToClient final : public DirectMessage
{
public:
    explicit ModuleEndedEngineToClient(int status) : m_status(status) {}
    std::string_view name() const noexcept override { return "ModuleEndedEngineToClient"; }
    std::size_t bytes() const noexcept override { return sizeof *this; }
    int status() const noexcept { return m_status; }

private:
    int m_status;
};

} // namespace zel
