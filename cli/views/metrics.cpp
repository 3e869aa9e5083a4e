// SPDX-License-Identifier: MIT
#include "cli/views/metrics.h"

#include <cstring>

#include "cli/views/corrections.h"
#include "cli/views/gaps.h"
#include "cli/views/vlan_groups.h"

namespace cli {

namespace {

/// A label's value, with what the format wants escaped.
std::string escaped(const std::string& text) {
    std::string out;
    for (const char c : text) {
        if (c == '\\' || c == '"')
            out += '\\';
        out += c == '\n' ? std::string("\\n") : std::string(1, c);
    }
    return out;
}

class Writer {
  public:
    explicit Writer(MetricsFormat format) : isOpen_(format == MetricsFormat::OpenMetrics) {}

    /// Samples of a counter end in _total; its family is called so too but in OpenMetrics.
    void family(const std::string& name, const char* type, const char* help) {
        const bool isCounter = std::string(type) == "counter";
        name_ = "mvrp_" + name + (isCounter ? "_total" : "");
        family_ = isOpen_ ? "mvrp_" + name : name_;
        text_ += "# HELP " + family_ + " " + help + "\n# TYPE " + family_ + " " + type + "\n";
    }
    void unit(const char* unit) {
        if (isOpen_)
            text_ += "# UNIT " + family_ + " " + unit + "\n";
    }
    void sample(const std::string& labels, const std::string& value) {
        text_ += name_ + (labels.empty() ? "" : "{" + labels + "}") + " " + value + "\n";
    }
    void sample(const std::string& labels, u64 value) { sample(labels, std::to_string(value)); }
    std::string finish() { return text_ + (isOpen_ ? "# EOF\n" : ""); }

  private:
    const bool isOpen_;
    std::string text_;
    std::string family_;
    std::string name_;  ///< of the samples
};

std::string label(const char* key, const std::string& value) {
    return std::string(key) + "=\"" + escaped(value) + "\"";
}

std::string portLabel(const platform::SwitchPortRecord& port) {
    return label("port", port.name.data()) + "," + label("unit", std::to_string(port.unit));
}

void addGlobal(Writer& writer, const GlobalView& global) {
    writer.family("enabled", "gauge", "Whether MVRP is on (1) on this switch.");
    writer.sample("", global.enabled ? 1 : 0);
    writer.family("gvrp_compliance", "gauge", "Whether GVRP is spoken (1) in place of MVRP.");
    writer.sample("", global.compliance ? 1 : 0);
    writer.family("pending_changes", "gauge", "Changes that wait to be applied to the switch.");
    writer.sample("", global.pendingPairs);
    writer.family("uptime_seconds", "gauge", "Time since the daemon started.");
    writer.unit("seconds");
    writer.sample("", std::to_string(global.host.uptimeMs / 1000) + "." +
                          std::to_string(global.host.uptimeMs % 1000 / 100));
}

/// Which of a pair this is, and whether the other one is there.
void addPair(Writer& writer, const GlobalView& global) {
    const auto active = static_cast<u32>(platform::HostRole::Active);
    writer.family("active", "gauge", "Whether this is the active (1), not the standby of a pair.");
    writer.sample("", global.host.role == active ? 1 : 0);
    if (!global.standby || global.standby->configured == 0)
        return;
    const bool both = global.standby->otherThere != 0 && global.standby->role == active &&
                      global.standby->otherRole == active;
    writer.family("peer_connected", "gauge", "Whether the other one of the pair is heard (1).");
    writer.sample("", global.standby->otherThere);
    writer.family("two_actives", "gauge", "Whether both of the pair are the active (1).");
    writer.sample("", both ? 1 : 0);
}

void addLosses(Writer& writer, const platform::LossesRecord& losses) {
    writer.family("lost_log_lines", "counter",
                  "Lines that are not in the log, because what reads it was too slow.");
    writer.sample("", losses.logLines);
    writer.family("lost_recorded_frames", "counter",
                  "Frames that are not in a recording, because its file was too slow or failed.");
    writer.sample("", losses.recordedFrames);
    writer.family("lost_forwarded_frames", "counter",
                  "Frames of ports that take no part, for which another port had no room.");
    writer.sample("", losses.forwardedFrames);
}

void addCorrections(Writer& writer, const GlobalView& global) {
    if (!global.corrections)
        return;
    const auto labelOf = [](u32 value) {
        return label("correction", std::string(kCorrectionNames.at(value)));
    };
    writer.family("correction_on", "gauge", "Whether the correction is on (1).");
    for (u32 value = 0; value < kCorrectionCount; ++value)
        writer.sample(labelOf(value), isOn(global, static_cast<Correction>(value)) ? 1 : 0);
    writer.family("correction_acts", "counter", "How often the correction changed an outcome.");
    for (u32 value = 0; value < kCorrectionCount; ++value)
        writer.sample(labelOf(value), global.corrections->acted.at(value));
}

/// Who is at the two ends of the port's cable: with these, what one end says can be put beside what
/// the other has.
void addEnds(Writer& writer, const std::vector<PortView>& ports) {
    const auto isSet = [](const platform::MacAddress& mac) {
        return mac != platform::MacAddress{};
    };
    writer.family("port_address", "gauge", "MAC address of the port, as the label mac; always 1.");
    for (const PortView& view : ports)
        if (isSet(view.port.mac))
            writer.sample(
                portLabel(view.port) + "," + label("mac", platform::formatMac(view.port.mac)), 1);
    writer.family("port_neighbour", "gauge",
                  "Who sent the last protocol frame that came in, as the label neighbour; 1. None "
                  "while the link is down.");
    for (const PortView& view : ports)
        if (view.port.link != 0 && isSet(view.port.peerMac))
            writer.sample(portLabel(view.port) + "," +
                              label("neighbour", platform::formatMac(view.port.peerMac)),
                          1);
}

void addPorts(Writer& writer, const std::vector<PortView>& ports) {
    writer.family("port_link_up", "gauge", "Whether the link of the port is up (1).");
    for (const PortView& view : ports)
        writer.sample(portLabel(view.port), view.port.link);
    writer.family("port_cable_error", "gauge",
                  "Number of the system's error that keeps the cable from working; 0: none.");
    for (const PortView& view : ports)
        writer.sample(portLabel(view.port), view.port.cableError);
    writer.family("port_guard_lost", "counter",
                  "How often others took away the guard of the port, which keeps a Linux bridge "
                  "from forwarding protocol frames.");
    for (const PortView& view : ports)
        writer.sample(portLabel(view.port), view.port.guardLost);
    writer.family(
        "port_loop_with", "gauge",
        "Port of the same switch whose frames come in, so that it takes no part; 0: none.");
    for (const PortView& view : ports)
        writer.sample(portLabel(view.port), view.port.loopWith);
    writer.family("port_looped_frames", "counter", "Frames that this switch itself had sent.");
    for (const PortView& view : ports)
        writer.sample(portLabel(view.port), view.counters.droppedLoop);
    writer.family("port_enabled", "gauge", "Whether MVRP is on (1) at the port.");
    for (const PortView& view : ports)
        writer.sample(portLabel(view.port), view.settings && view.settings->enabled ? 1 : 0);
    writer.family("port_vlans", "gauge", "VLANs of the port, by what they are to it.");
    for (const PortView& view : ports) {
        const std::string port = portLabel(view.port) + ",";
        writer.sample(port + label("state", "registered"), countVlans(view.registered));
        writer.sample(port + label("state", "declared"), countVlans(view.declared));
        writer.sample(port + label("state", "propagated"), countVlans(view.propagated));
        writer.sample(port + label("state", "learnt"), countVlans(view.dynamic));
    }
}

void addGaps(Writer& writer, const VlansView& vlans) {
    writer.family(
        "port_vlans_astray", "gauge",
        "VLANs of the port that do not go together, for longer than changes take to apply "
        "where something is wrong.");
    std::map<u32, PortGaps> all = gapsOf(vlans);
    for (const PortView& view : vlans.ports) {
        const PortGaps& gaps = all[view.port.unit];
        const std::string port = portLabel(view.port) + ",";
        writer.sample(port + label("kind", "staticNotDeclared"), countVlans(gaps.undeclared));
        writer.sample(port + label("kind", "registeredNotMember"), countVlans(gaps.unmembered));
        writer.sample(port + label("kind", "memberNotRegistered"), countVlans(gaps.unregistered));
        writer.sample(port + label("kind", "registeredNotPassedOn"), countVlans(gaps.unpassed));
    }
}

using Record = platform::PortStatisticsRecord;

/// One family with a sample for each port, direction and name.
template <std::size_t kCount>
void addBothWays(Writer& writer, const std::vector<PortStatistics>& ports, const char* key,
                 const std::array<CounterName, kCount>& names,
                 const std::array<u64, kCount> Record::*in,
                 const std::array<u64, kCount> Record::*out) {
    for (const PortStatistics& port : ports) {
        for (std::size_t i = 0; i < kCount; ++i) {
            const std::string named = label(key, names[i].key);
            const auto sample = [&](const char* direction, u64 count) {
                std::string labels = portLabel(port.port);
                labels.append(",").append(label("direction", direction)).append(",").append(named);
                writer.sample(labels, count);
            };
            sample("in", (port.record.*in)[i]);
            sample("out", (port.record.*out)[i]);
        }
    }
}

template <std::size_t kCount>
void addByReason(Writer& writer, const std::vector<PortStatistics>& ports,
                 const std::array<CounterName, kCount>& names,
                 const std::array<u64, kCount> Record::*counters, std::size_t from) {
    for (const PortStatistics& port : ports) {
        for (std::size_t i = from; i < kCount; ++i)
            writer.sample(portLabel(port.port) + "," + label("reason", names[i].key),
                          (port.record.*counters)[i]);
    }
}

void addLostFrames(Writer& writer, const std::vector<PortStatistics>& ports) {
    for (const PortStatistics& port : ports) {
        const std::string start = portLabel(port.port) + ",";
        writer.sample(start + label("reason", "overflow"), port.record.overflow);
        writer.sample(start + label("reason", "otherProtocol"), port.record.notEnabled);
        writer.sample(start + label("reason", "tunnel"), port.record.tunnelled);
        writer.sample(start + label("reason", "sendFailed"), port.record.sendFailed);
    }
}

}  // namespace

MetricsView queryMetrics(Client& client) {
    MetricsView view;
    const std::vector<platform::SwitchPortRecord> ports = queryPortList(client);
    view.global = queryGlobal(client);
    view.vlans = queryVlans(client, ports, kExplainParts);
    view.statistics = queryStatistics(client, ports);
    const Reply losses = client.exchange(Request{platform::Request::Losses});
    if (losses.status == 0 && losses.value.size() == sizeof(platform::LossesRecord)) {
        view.losses.emplace();
        std::memcpy(&*view.losses, losses.value.data(), sizeof(platform::LossesRecord));
    }
    return view;
}

std::string metricsText(const MetricsView& view, MetricsFormat format) {
    const std::vector<PortStatistics>& statistics = view.statistics;
    Writer writer(format);
    addGlobal(writer, view.global);
    addPair(writer, view.global);
    if (view.losses)
        addLosses(writer, *view.losses);
    addCorrections(writer, view.global);
    addEnds(writer, view.vlans.ports);
    addPorts(writer, view.vlans.ports);
    addGaps(writer, view.vlans);
    writer.family("port_pdus", "counter", "PDUs by direction and form.");
    addBothWays(writer, statistics, "form", kFormNames, &Record::pdusIn, &Record::pdusOut);
    writer.family("port_events", "counter", "Attribute events by direction and type.");
    addBothWays(writer, statistics, "event", kEventNames, &Record::eventsIn, &Record::eventsOut);
    writer.family("port_dropped_frames", "counter",
                  "Frames that were not taken for protocol frames, by reason.");
    addByReason(writer, statistics, kDropNames, &Record::drops, 1);
    writer.family("port_lost_frames", "counter", "Frames that were lost or not wanted, by reason.");
    addLostFrames(writer, statistics);
    writer.family("port_failed_registrations", "counter",
                  "Declared VLANs that the port did not take, by reason.");
    addByReason(writer, statistics, kFailureNames, &Record::failed, 0);
    writer.family("port_last_failed_registration_vlan", "gauge",
                  "The VLAN of the last declaration that the port did not take; 0: none yet.");
    for (const PortStatistics& port : statistics)
        writer.sample(portLabel(port.port), port.record.lastFailedVid);
    return writer.finish();
}

}  // namespace cli
