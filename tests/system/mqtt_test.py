"""What programs that listen to an MQTT broker see of a running device."""

from broker import HOST, Broker
from follow_test import RECORDINGS
from run_script import RunTest
from web import Web

OWN = "MiruPlatform/SentrelVideo/"
STATE = OWN + "state"
FOLLOWING = OWN + "isSentreling"
ALARM = OWN + "Camera1Profile1"
DEVICE = "SentrelVideo/device"

LONG_ENOUGH = 180  # seconds until the first people have come and gone


class MqttTest(RunTest):
    def follow(self, *options):
        broker = Broker(self)
        self.seen = broker.subscribe()
        run = self.start("--port", "0", "--mqtt", f"{HOST}:{broker.port}", *options)
        for topic in (ALARM, FOLLOWING):
            begun = self.wait_for(topic, {"active": True})
            self.wait_for(topic, {"active": False}, begun)
        states = [publication.event["data"]["value"] for publication in self.seen.entries()
                  if publication.topic == STATE]
        wanted = ["connecting", "autotuning", "running"]
        self.assertEqual(wanted, [state for state in dict.fromkeys(states) if state in wanted])
        self.assert_retained(broker)
        self.assert_cleared(broker, run)

    def wait_for(self, topic, data, start=0):
        return self.seen.wait_for(
            lambda publication: publication.topic == topic and publication.event is not None and
            publication.event["data"] == data, f"{topic} {data}", start, patience=LONG_ENOUGH)

    def assert_retained(self, broker):
        """Who comes later is told the present values at once."""
        late = broker.subscribe()
        for topic in (STATE, FOLLOWING, ALARM, OWN + "Camera1ProfileANY",
                      "VideoSource/MotionAlarm/1"):
            position = late.wait_for(lambda publication: publication.topic == topic, topic)
            first = late.entries()[position - 1]
            self.assertEqual((True, 1), (first.retained, first.qos), first)
            self.assertTrue(first.event["stateful"])
        position = late.wait_for(lambda publication: publication.topic == DEVICE, DEVICE)
        self.assertEqual("online", late.entries()[position - 1].event)

    def assert_cleared(self, broker, run):
        position = len(self.seen)
        run.interrupt()
        self.assertEqual(0, run.wait(), run.text())
        for topic in (STATE, FOLLOWING, ALARM):
            self.seen.wait_for(
                lambda publication: publication.topic == topic and publication.event is None,
                f"the end of {topic}", start=position)
        self.seen.wait_for(
            lambda publication: publication.topic == DEVICE and publication.event == "offline",
            "the device's leave", start=position)
        late = broker.subscribe()
        position = late.wait_for(lambda publication: publication.topic == DEVICE, DEVICE)
        self.assertEqual("offline", late.entries()[position - 1].event)
        self.assertFalse([publication for publication in late.entries()
                          if publication.topic.startswith(OWN)])

    def test_generated_people_are_seen_at_a_broker(self):
        self.follow()

    def test_recorded_people_are_seen_at_a_broker(self):
        path = RECORDINGS / "zara01.csv"
        if not path.is_file():
            self.skipTest(f"The recording {path.name} is not on this machine")
        self.follow("--tracks", path)


class AlarmsWithoutABrokerTest(RunTest):
    """An alarm comes and goes while no broker is there; then the device is killed."""

    SITE = "sites/north/"

    def start_device(self):
        return self.start("--port", "0", "--mqtt", f"{HOST}:{self.broker.port}", "--site", "north")

    def test_they_arrive_in_order_from_the_next_start(self):
        self.broker = Broker(self)
        self.broker.kill()
        device = self.start_device()
        web = Web(device)
        listener = web.follow()
        web.call("sendAlarmEvent", {"profile": 1})
        begun = listener.wait_for_event(ALARM, {"active": True})
        listener.wait_for_event(ALARM, {"active": False}, begun)
        device.crash()
        happened = listener.events(ALARM)

        self.broker.start()
        subscriber = self.broker.subscribe()
        self.start_device()
        subscriber.wait_for(lambda publication: publication.topic == self.SITE + DEVICE and
                            publication.event == "online", "the device")
        # A reader drops what is told again, as it may be when a connection is lost.
        arrived = {}
        for publication in subscriber.entries():
            event = publication.event
            if (publication.topic == self.SITE + ALARM and event is not None and
                    event["start"] == happened[0]["start"]):
                arrived.setdefault(event["seq"], event)
        # What the device had kept but not shown when it was killed is there, too.
        self.assertEqual(list(range(1, len(arrived) + 1)), list(arrived), happened)
        self.assertEqual(happened, [arrived.get(event["seq"]) for event in happened])
        foreign = [publication.topic for publication in subscriber.entries()
                   if not publication.topic.startswith((self.SITE, "test/"))]
        self.assertEqual([], foreign)
