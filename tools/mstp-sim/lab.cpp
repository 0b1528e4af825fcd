#include "lab.h"

#include <algorithm>

#include "bpdu.h"
#include "mstp/enums.h"
#include "mstp/management.h"
#include "mstp_nm.h"
#include "rules.h"
#include "words.h"

namespace simtool {

// The daemon restarts its trees a moment after its region was set; ports come behind that.
static constexpr Microseconds PORTS_AFTER = 100 * MILLISECOND;
static constexpr Microseconds SLICE = 100 * MILLISECOND;
static constexpr uint8_t LEAST_INSTANCES = 8;
static constexpr uint16_t SPARE_PORTS = 4;

Lab::Lab(const Scenario& scenario, bool keepTimeline)
    : m_scenario(scenario), m_network(scenario.seed), m_recorder(m_network, keepTimeline) {
    forgetInterfaceNames();
    m_network.addObserver(&m_recorder);
    build();
}

// ---- building

static uint8_t instanceLimit(const Scenario& scenario) {
    uint32_t highest = instancesOf(scenario).back();
    for (const Event& event : scenario.events) {
        const auto* configure = std::get_if<Configure>(&event.action);
        const auto* life =
            configure != nullptr ? std::get_if<InstanceCommand>(&configure->command) : nullptr;
        if (life != nullptr && life->instance <= HIGHEST_INSTANCE) {
            highest = std::max(highest, life->instance);
        }
    }
    return static_cast<uint8_t>(std::max<uint32_t>(highest + 1, LEAST_INSTANCES));
}

static sim::LinkEnd simEnd(const End& end) {
    return end.host ? sim::LinkEnd{sim::HOST + end.owner, 0} : sim::LinkEnd{end.owner, end.port};
}

void Lab::build() {
    std::vector<uint32_t> ports(m_scenario.bridges.size());
    for (const LinkPlan& link : m_scenario.links) {
        for (const End& end : link.ends) {
            if (!end.host) {
                ports[end.owner]++;
            }
        }
    }
    const uint8_t instances = instanceLimit(m_scenario);
    for (uint32_t b = 0; b < m_scenario.bridges.size(); b++) {
        const BridgePlan& plan = m_scenario.bridges[b];
        sim::NodeOptions options;
        options.name = plan.name;
        options.mac = plan.mac;
        options.xstLimit = instances;
        options.portLimit = static_cast<uint16_t>(ports[b] + SPARE_PORTS);
        options.receiveQueue = plan.receiveQueue;
        options.ageingSeconds = plan.ageingSeconds;
        options.configure = [this](sim::Network& /*network*/, uint32_t node) { configure(node); };
        m_network.declareNode(options);
    }
    for (const HostPlan& host : m_scenario.hosts) {
        m_network.addHost(host.name);
    }
    for (const LinkPlan& link : m_scenario.links) {
        std::vector<sim::LinkEnd> ends;
        for (const End& end : link.ends) {
            ends.push_back(simEnd(end));
        }
        const uint32_t number = m_network.addHub(ends, link.options);
        if (!link.up) {
            m_network.setLink(number, false);
        }
    }
    for (const Event& event : m_scenario.events) {
        const auto* expect = std::get_if<Expect>(&event.action);
        const auto* frame = expect != nullptr ? std::get_if<ExpectFrame>(&expect->what) : nullptr;
        if (frame != nullptr) {
            m_recorder.watchLink(frame->link);
        }
    }
}

void Lab::refused(uint32_t bridge, const std::string& what, const std::string& why) {
    const std::string& name = m_scenario.bridges[bridge].name;
    m_failures.push_back({m_network.time(), {}, name + " takes: " + what, why});
    Entry entry;
    entry.time = m_network.time();
    entry.kind = EntryKind::Failed;
    entry.text = name + " refuses: " + what + (why == "refused" ? "" : ": " + why);
    m_recorder.note(entry);
}

// A value may be refused for another that is still to come: those are tried again at the end.
template <class Refuse>
static void applyAll(const std::vector<SetCommand>& settings, const Refuse& refuse) {
    std::vector<const SetCommand*> again;
    for (const SetCommand& command : settings) {
        if (!applyHere(command)) {
            again.push_back(&command);
        }
    }
    for (const SetCommand* command : again) {
        if (!applyHere(*command)) {
            refuse(commandWords(*command));
        }
    }
}

void Lab::configure(uint32_t number) {
    const BridgePlan& bridge = m_scenario.bridges[number];
    const auto refuse = [&](const std::string& what) { refused(number, what); };
    const auto make = [&](uint32_t instance) {
        if (!applyHere(InstanceCommand{instance, true})) {
            refuse("instance add " + std::to_string(instance));
        }
    };
    make(0);
    for (const auto& [instance, plan] : bridge.instances) {
        if (!runs(number, instance)) {
            continue;
        }
        if (instance != 0) {
            make(instance);
        }
        applyAll(plan.settings, refuse);
        if (!plan.vlans.empty() &&
            !applyHere(VlansCommand{instance, VlanChange::Replace, plan.vlans})) {
            refuse("set instance " + std::to_string(instance) + " vlans " + vlanWord(plan.vlans));
        }
    }
    // The region last: it starts the trees.
    std::vector<SetCommand> sorted = bridge.settings;
    std::stable_partition(sorted.begin(), sorted.end(), [](const SetCommand& command) {
        return command.target.object == Object::Bridge;
    });
    applyAll(sorted, refuse);
    m_network.later(number, PORTS_AFTER, [this, number] { configurePorts(number); });
}

void Lab::configurePorts(uint32_t number) {
    const BridgePlan& bridge = m_scenario.bridges[number];
    for (const auto& [port, settings] : bridge.ports) {
        if (!applyHere(PortCommand{std::to_string(port), true})) {
            refused(number, "port add " + std::to_string(port));
            continue;
        }
        std::vector<SetCommand> own;
        std::copy_if(settings.begin(), settings.end(), std::back_inserter(own),
                     [&](const SetCommand& command) {
                         return command.target.object != Object::InstancePort ||
                                runs(number, command.target.instance);
                     });
        applyAll(own, [&](const std::string& what) { refused(number, what); });
    }
}

// ---- running

void Lab::run(const std::function<void(Microseconds)>& progress) {
    std::string names;
    static constexpr uint32_t NAMED = 8;
    uint32_t starting = 0;
    for (const BridgePlan& bridge : m_scenario.bridges) {
        if (bridge.starts && bridge.start == 0) {
            names += ++starting <= NAMED ? " " + bridge.name : "";
        }
    }
    m_recorder.begin(
        0, "start" + names +
               (starting > NAMED ? " and " + std::to_string(starting - NAMED) + " more" : ""));
    for (uint32_t b = 0; b < m_scenario.bridges.size(); b++) {
        const BridgePlan& bridge = m_scenario.bridges[b];
        if (bridge.starts && bridge.start == 0) {
            life({b, Life::Start});
        } else if (bridge.starts) {
            m_network.at(bridge.start, [this, b, &bridge] {
                m_recorder.begin(m_network.time(), "start " + bridge.name);
                life({b, Life::Start});
            });
        }
    }
    for (const Event& event : m_scenario.events) {
        m_network.at(event.at, [this, &event] { perform(event); });
    }
    while (m_network.time() < m_scenario.duration) {
        m_network.run(std::min(SLICE, m_scenario.duration - m_network.time()));
        if (progress) {
            progress(m_network.time());
        }
    }
}

void Lab::life(const SetLife& change) {
    const std::string& name = m_scenario.bridges[change.bridge].name;
    if (change.life == Life::Crash) {
        m_network.crash(change.bridge);
        return;
    }
    const bool done = change.life == Life::Start ? m_network.start(change.bridge)
                                                 : m_network.restart(change.bridge);
    if (!done) {
        m_failures.push_back({m_network.time(), {}, name + " starts", "it runs or cannot start"});
    }
}

namespace {

template <class... Cases> struct Overload : Cases... { using Cases::operator()...; };
template <class... Cases> Overload(Cases...) -> Overload<Cases...>;

} // namespace

void Lab::perform(const Event& event) {
    if (const auto* expect = std::get_if<Expect>(&event.action)) {
        check(event, *expect);
        return;
    }
    if (std::holds_alternative<Send>(event.action)) {
        Entry entry;
        entry.time = m_network.time();
        entry.text = event.text;
        m_recorder.note(entry);
    } else {
        m_recorder.begin(m_network.time(), event.text);
    }
    const auto sendOnce = [this](const Send& send) {
        m_network.sendTestFrame(send.from, send.to, send.vlan);
    };
    std::visit(Overload{[&](const SetLink& e) { m_network.setLink(e.link, e.up); },
                        [&](const SetEnd& e) { m_network.setEnd(e.link, e.end, e.up); },
                        [&](const SetSending& e) { m_network.setSending(e.link, e.end, e.works); },
                        [&](const Impair& e) { m_network.impair(e.link, e.options); },
                        [&](const SetLife& e) { life(e); },
                        [&](const Hang& e) { m_network.hang(e.bridge, e.length); },
                        [&](const Configure& e) { command(e); },
                        [&](const Send& e) { repeat(e.repeat, [=] { sendOnce(e); }); },
                        [&](const Inject& e) { repeat(e.repeat, [this, &e] { inject(e); }); },
                        [](const Expect&) {}},
               event.action);
}

void Lab::repeat(const Repeat& repeat, const std::function<void()>& work) {
    work();
    if (repeat.every != 0) {
        repeatUntil(repeat.every, m_network.time() + repeat.length, work);
    }
}

void Lab::repeatUntil(Microseconds every, Microseconds end, std::function<void()> work) {
    const Microseconds next = m_network.time() + every;
    if (next >= end) {
        return;
    }
    m_network.at(next, [this, every, end, work = std::move(work)] {
        work();
        repeatUntil(every, end, work);
    });
}

void Lab::inject(const Inject& inject) {
    Bytes frame = inject.raw;
    if (frame.empty()) {
        const End& end = m_scenario.links[inject.link].ends[inject.end];
        const std::vector<uint8_t>& mac =
            end.host ? m_network.host(end.owner).mac : m_scenario.bridges[end.owner].mac;
        std::array<uint8_t, 6> source = {};
        std::copy_n(mac.begin(), source.size(), source.begin());
        BpduFields fields = inject.fields;
        if (inject.regionOf) {
            static const std::pair<const char*, const char*> PARTS[] = {
                {"region-name", "name"},
                {"revision", "revision"},
                {"format-selector", "format-selector"},
                {"digest", "digest"}};
            m_network.on(*inject.regionOf, [&] {
                for (const auto& [field, name] : PARTS) {
                    const Setting& setting = findSetting(Object::Region, name, Access::Read);
                    fields.emplace(field,
                                   readValue({Object::Region, 0, ""}, setting).value_or("0"));
                }
            });
        }
        frame = composeBpdu(fields, source);
    }
    if (inject.length) {
        const size_t length = *inject.length + BPDU_OFFSET - LLC_OFFSET;
        frame.resize(BPDU_OFFSET + *inject.length);
        frame[12] = static_cast<uint8_t>(length >> 8);
        frame[13] = static_cast<uint8_t>(length);
    }
    for (const auto& [offset, byte] : inject.bytes) {
        if (BPDU_OFFSET + offset < frame.size()) {
            frame[BPDU_OFFSET + offset] = byte;
        }
    }
    m_network.inject(inject.link, inject.end, frame);
}

// ---- looking

bool Lab::running(uint32_t bridge) const {
    return m_network.node(bridge).state != sim::NodeState::Off;
}

bool Lab::runs(uint32_t bridge, uint32_t instance) const {
    const BridgePlan& plan = m_scenario.bridges[bridge];
    return instance == 0 ||
           (plan.version >= MSTP_FORCE_ATUODOT1S && plan.instances.count(instance) != 0);
}

uint32_t Lab::role(uint32_t bridge, uint32_t instance, uint32_t port) const {
    return running(bridge) ? m_network.role(bridge, instance, port) : 0;
}

uint32_t Lab::state(uint32_t bridge, uint32_t instance, uint32_t port) const {
    const sim::Node& node = m_network.node(bridge);
    const tMstp& context = node.context;
    for (uint32_t i = 0; context.xsts != nullptr && i < context.xstLimit; i++) {
        const tMstpXst& xst = context.xsts[i];
        const auto group = node.sw.groups.find(xst.stgId);
        if (xst.rowStatus == 0 || xst.xstId != instance || group == node.sw.groups.end()) {
            continue;
        }
        const auto held = group->second.states.find(port);
        return held == group->second.states.end() ? 0 : stateOfGroup(held->second);
    }
    return 0;
}

std::optional<uint32_t> Lab::root(uint32_t bridge, uint32_t instance) {
    std::optional<std::string> text;
    const Setting& setting = findSetting(Object::Instance, "root", Access::Read);
    m_network.on(bridge, [&] { text = readValue({Object::Instance, instance, ""}, setting); });
    const size_t point = text ? text->find('.') : std::string::npos;
    for (uint32_t b = 0; point != std::string::npos && b < m_scenario.bridges.size(); b++) {
        if (text->substr(point + 1) == macText(m_scenario.bridges[b].mac.data())) {
            return b;
        }
    }
    return std::nullopt;
}

// A bridge without the instance treats its VLANs as the CIST's.
bool Lab::linkForwards(uint32_t link, uint32_t instance) const {
    const sim::Link& wire = m_network.link(link);
    for (const End& end : m_scenario.links[link].ends) {
        if (!wire.up) {
            return false;
        }
        if (end.host) {
            continue;
        }
        const uint32_t own = runs(end.owner, instance) ? instance : 0;
        if (state(end.owner, own, end.port) != MSTP_PORT_STATE_FORWARDING) {
            return false;
        }
    }
    return true;
}

} // namespace simtool
