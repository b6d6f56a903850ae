// Masters that go, come back and are replaced, and clocks in a chain.
#include "elements.h"

namespace ptp_agent::test {
namespace {

class Masters : public RealElements {
  protected:
    static std::string class_of(const Element &element) {
        return element.last(own_report, "clock_quality.clock_class").value_or("");
    }
    static std::string grandmaster_of(const Element &element) {
        return element.last(parent_report, "grandmaster_identity.ptp_clk_id").value_or("");
    }

    /** A bridge in a namespace of its own, with a port to each of the elements' ptp0. */
    void bridge(const SecondNamespace &network, const std::vector<const Element *> &elements) {
        network.run({"ip", "link", "add", "bridge", "type", "bridge"});
        network.run({"ip", "link", "set", "bridge", "up"});
        int number = 0;
        for (const Element *each : elements) {
            const std::string port = "port" + std::to_string(++number);
            run({"ip", "link", "add", port, "netns", network.process(), "type", "veth", "peer", "name", "ptp0", "netns",
                 each->network().process()});
            network.run({"ip", "link", "set", port, "master", "bridge", "up"});
            // Bridges keep frames to 01:80:C2:00:00:0E for themselves, unless told so.
            network.run({"ip", "link", "set", port, "type", "bridge_slave", "group_fwd_mask", "0x4000"});
            elements_.set_link(*each, "ptp0", true);
        }
    }
};

TEST_F(Masters, LinkThatFlapsMeansHoldoverAndBack) {
    Element &master = add_grandmaster("gm"), &element = add_boundary("bc");
    elements_.connect(master, "ptp0", element, "ptp0");
    ASSERT_TRUE(wait_locked(element)) << element.log();
    for (int i = 0; i < 2; ++i) {
        elements_.set_link(master, "ptp0", false);
        EXPECT_TRUE(wait_for(element, clock_report, "clock_state", "HOLDOVER")) << element.log();
        EXPECT_TRUE(wait_until([&] { return class_of(element) == "135"; })) << "announced in holdover";
        EXPECT_EQ(grandmaster_of(element), "aabbccfffe000110") << "itself";
        EXPECT_NE(element.last(port_report, "port_state"), "SLAVE");
        elements_.set_link(master, "ptp0", true);
        EXPECT_TRUE(wait_locked(element)) << element.log();
        EXPECT_EQ(grandmaster_of(element), "aabbccfffe000220");
        EXPECT_EQ(element.last(parent_report, "grandmaster_clock_quality.clock_class"), "6");
    }
    EXPECT_EQ(false_locks(element), 0u) << "locked only while it follows a master";
}

TEST_F(Masters, LockIsToldOnceTheServoIsStableAndNotBefore) {
    Element &master = add_grandmaster("gm"), &element = add_boundary("bc", {.poll_ms = 50});
    // To this one the same offsets are too large, whatever the state of its port.
    Element &strict_master = add_grandmaster("gm2"), &strict = add_boundary("strict", {.lock_bound_ns = 1});
    elements_.connect(master, "ptp0", element, "ptp0");
    elements_.connect(strict_master, "ptp0", strict, "ptp0");
    ASSERT_TRUE(wait_locked(element)) << element.log();
    std::uint64_t slave_ms = 0, locked_ms = 0;
    for (const Report &report : element.reports()) {
        if (report.name() == port_report && report.told("port_state") == "SLAVE" && slave_ms == 0) {
            slave_ms = report.at_ms;
        }
        if (report.name() == clock_report && report.told("clock_state") == locked && locked_ms == 0) {
            locked_ms = report.at_ms;
        }
    }
    EXPECT_GT(slave_ms, 0u);
    EXPECT_GE(locked_ms, slave_ms + 900) << "stable for a second, less what delivery differs";
    EXPECT_TRUE(wait_for(strict, port_report, "port_state", "SLAVE"));
    elements_.wait_ms(2000);
    EXPECT_EQ(strict.last(port_report, "port_state"), "SLAVE");
    EXPECT_EQ(strict.last(clock_report, "clock_state"), "ACQUIRING");
    for (const Report &report : strict.reports()) {
        EXPECT_FALSE(report.name() == clock_report && report.told("clock_state") == locked);
    }
}

TEST_F(Masters, AnotherGrandmasterIsNamedAndFollowed) {
    Element &first = elements_.add("gm1"), &second = elements_.add("gm2"), &element = elements_.add("bc");
    const SecondNamespace network;
    bridge(network, {&first, &second, &element});
    for (Element *each : {&first, &second}) {
        std::vector<Record> messages;
        messages.push_back(example(handle_, "g8275_1_grandmaster.xml"));
        set_identity(messages.back(), each == &first ? 1 : 2);
        EXPECT_TRUE(messages.back().set("default_data_set.priority2", each == &first ? 100 : 110));
        messages.push_back(example(handle_, "g8275_1_time_source.xml"));
        messages.push_back(example(handle_, "g8275_1_port.xml"));
        each->start();
        each->send(messages);
    }
    element.start();
    element.send_examples({"g8275_1_boundary_clock.xml", "g8275_1_port.xml"});
    ASSERT_TRUE(wait_until([&] { return grandmaster_of(element) == "aabbccfffe000301"; }, 8000)) << element.log();
    ASSERT_TRUE(wait_locked(element)) << element.log();
    const auto former = element.last("ptp_current_master_details", "curr_mst_mac");
    ASSERT_TRUE(former);
    element.forget_reports();
    first.signal(SIGKILL);
    // Announce comes 8 times a second and is missed 3 times.
    EXPECT_TRUE(wait_until([&] { return grandmaster_of(element) == "aabbccfffe000302"; }, 375 + 1000)) << element.log();
    EXPECT_TRUE(wait_for(element, "ptp_current_selected_master_event", "previous_master_mac", *former));
    EXPECT_NE(element.last("ptp_current_selected_master_event", "current_master_mac"), former);
    EXPECT_EQ(element.last("ptp_current_master_details", "prev_mst_mac"), former);
    EXPECT_EQ(element.last("ptp_clk_data_set", "parent_data_set.grandmaster_identity.ptp_clk_id"), "aabbccfffe000302");
    EXPECT_TRUE(wait_locked(element)) << "again, after a while without calibration\n" << element.log();
    EXPECT_EQ(false_locks(element), 0u);
}

TEST_F(Masters, ChainOfBoundaryClocksPassesTimeOn) {
    Element &master = add_grandmaster("gm");
    std::vector<Element *> chain;
    const Element *before = &master;
    for (int i = 1; i <= 3; ++i) {
        Element &element = elements_.add("bc" + std::to_string(i));
        elements_.connect(*before, i == 1 ? "ptp0" : "ptp1", element, "ptp0", i);
        std::vector<Record> messages;
        messages.push_back(example(handle_, "g8275_1_boundary_clock.xml"));
        set_identity(messages.back(), i);
        messages.push_back(example(handle_, "g8275_1_port.xml"));
        if (i < 3) {
            messages.push_back(port(handle_, 2, "ptp1", {{"delay_mechanism", VELA_PTP_DELAY_MECHANISM_E2E}}));
        }
        chain.push_back(&element);
        before = &element;
        if (i == 3) {
            // A second port that leads nowhere keeps it a boundary clock.
            element.network().run({"ip", "link", "add", "ptp1", "type", "veth", "peer", "name", "nowhere"});
            element.network().run({"ip", "link", "set", "nowhere", "up"});
            element.network().run({"ip", "link", "set", "ptp1", "up"});
            messages.push_back(port(handle_, 2, "ptp1", {{"delay_mechanism", VELA_PTP_DELAY_MECHANISM_E2E}}));
        }
        element.start();
        element.send(messages);
    }
    for (std::size_t i = 0; i < chain.size(); ++i) {
        const std::string steps = std::to_string(i + 1);
        EXPECT_TRUE(wait_for(*chain[i], "ptp_clk_current_ds_msg", "steps_removed", steps, 15000)) << chain[i]->log();
        EXPECT_TRUE(wait_locked(*chain[i], 15000)) << chain[i]->log();
        EXPECT_EQ(grandmaster_of(*chain[i]), "aabbccfffe000220");
        EXPECT_EQ(chain[i]->last_of_port(port_report, "port_state", 1), "SLAVE");
        EXPECT_EQ(chain[i]->last_of_port(port_report, "port_state", 2), "MASTER");
    }
    // The grandmaster's quality travels down the chain.
    std::vector<Record> worse;
    worse.push_back(example(handle_, "g8275_1_time_source.xml"));
    EXPECT_TRUE(worse.back().set("modify", 1));
    EXPECT_TRUE(worse.back().set("clock_quality.clock_class", 7));
    master.send(worse);
    EXPECT_TRUE(wait_for(*chain.back(), parent_report, "grandmaster_clock_quality.clock_class", "7", 8000));
}

}  // namespace
}  // namespace ptp_agent::test
