// The example clocks as their users run them: each follows a real grandmaster, and what it reports is true.
#include "elements.h"

namespace ptp_agent::test {
namespace {

class ExampleClocks : public RealElements {
  protected:
    /** Runs a clock against a grandmaster without an agent, whose identity ends so. */
    void follow(Element &element, const std::map<std::string, std::string> &grandmaster,
                const std::vector<Record> &messages) {
        const SecondNamespace network;
        run({"ip", "link", "add", "ptp0", "netns", element.network().process(), "type", "veth", "peer", "name", "ptp0",
             "netns", network.process()});
        element.network().run({"ip", "addr", "add", "10.0.0.1/24", "dev", "ptp0"});
        network.run({"ip", "addr", "add", "10.0.0.2/24", "dev", "ptp0"});
        network.run({"ip", "link", "set", "ptp0", "up"});
        elements_.set_link(element, "ptp0", true);
        auto options = grandmaster;
        options.insert({{"clockIdentity", "aabbcc.fffe.000999"}, {"clockClass", "6"}, {"clockAccuracy", "0x21"}});
        const Ptp4lProcess master(elements_.folder(), element.name() + ".gm", {"ptp0"}, options, network.descriptor());
        // It rules before the clock starts, whose time to lock is measured.
        elements_.wait_ms(1200);
        element.start();
        element.send(messages);
        EXPECT_TRUE(wait_locked(element, 5000)) << element.log() << master.log();
        EXPECT_EQ(element.last(port_report, "port_state"), "SLAVE");
        EXPECT_EQ(element.last(parent_report, "grandmaster_identity.ptp_clk_id"), "aabbccfffe000999");
        EXPECT_EQ(element.last(parent_report, "grandmaster_clock_quality.clock_class"), "6");
        EXPECT_EQ(element.last(parent_report, "grandmaster_clock_quality.clock_accuracy"), "WITHIN_100ns");
        EXPECT_EQ(element.last("ptp_clk_current_ds_msg", "steps_removed"), "1");
        EXPECT_EQ(false_locks(element), 0u);
    }

    Record port_on_ptp0(int clock, int encap) {
        return port(handle_, 1, "ptp0",
                    {{"clk_handle", clock}, {"encap", encap}, {"delay_mechanism", VELA_PTP_DELAY_MECHANISM_E2E}});
    }
};

TEST_F(ExampleClocks, OrdinaryClockOfTheDefaultProfileFollowsOverUdp) {
    Element &element = elements_.add("oc");
    std::vector<Record> messages;
    messages.push_back(example(handle_, "default_profile_ordinary_clock.xml"));
    messages.push_back(port_on_ptp0(3, VELA_PTP_CFG_PORT_ENCAP_IPV4));
    messages.push_back(rates(handle_, 1, -3, -4));
    follow(element, {{"network_transport", "UDPv4"}, {"domainNumber", "0"}}, messages);
    EXPECT_EQ(element.last(own_report, "clk_id.ptp_clk_id"), "aabbccfffe000330");
    EXPECT_EQ(element.last(own_report, "clk_domain"), "0");
    EXPECT_EQ(element.last("ptp_current_master_details", "curr_master_ext"), "10.0.0.2");
}

TEST_F(ExampleClocks, BoundaryClockOfG8275_1FollowsOverEthernet) {
    Element &element = elements_.add("bc");
    std::vector<Record> messages;
    messages.push_back(example(handle_, "g8275_1_boundary_clock.xml"));
    messages.push_back(example(handle_, "g8275_1_port.xml"));
    follow(element,
           {{"dataset_comparison", "G.8275.x"},
            {"domainNumber", "24"},
            {"ptp_dst_mac", "01:80:C2:00:00:0E"},
            {"G.8275.defaultDS.localPriority", "128"}},
           messages);
    EXPECT_EQ(element.last(own_report, "clk_id.ptp_clk_id"), "aabbccfffe000110");
    EXPECT_EQ(element.last(own_report, "clk_domain"), "24");
    EXPECT_NE(element.last("ptp_current_master_details", "curr_mst_mac"), std::nullopt);
}

TEST_F(ExampleClocks, BoundaryClockOfG8275_2AsksItsMasterForMessages) {
    Element &element = elements_.add("bcp");
    std::vector<Record> messages;
    messages.push_back(example(handle_, "g8275_2_boundary_clock.xml"));
    messages.push_back(port_on_ptp0(2, VELA_PTP_CFG_PORT_ENCAP_IPV4));
    Record stream = rates(handle_, 1, -3, -4);
    stream.set("unicast", 1);
    stream.set("unicast_negotiation_duration", 60);
    set_ip(stream, "dest_addr", "10.0.0.2");
    messages.push_back(std::move(stream));
    follow(element,
           {{"dataset_comparison", "G.8275.x"},
            {"network_transport", "UDPv4"},
            {"domainNumber", "44"},
            {"unicast_listen", "1"},
            {"inhibit_multicast_service", "1"}},
           messages);
    EXPECT_EQ(element.last(own_report, "clk_domain"), "44");
    EXPECT_EQ(element.last("ptp_current_master_details", "curr_master_ext"), "10.0.0.2");
    EXPECT_EQ(element.last("ptp_current_master_details", "curr_mst_stream_id"), "1");
}

}  // namespace
}  // namespace ptp_agent::test
