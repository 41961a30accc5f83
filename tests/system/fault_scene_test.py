"""The scene service breaks in every way it can: what the daemon does, and how it recovers.

Each fault hits camera 1. Camera 2 sees nothing of it unless the whole service is gone.
"""

import time

from bus_monitor import is_stop
from camera import HTTP_SOCKET
from fault_fixture import FaultTest, alarm
from frame_gate import Cut, Stall, once
from journal import wait_until
from scene_frames import Walker, encode, now, packed

NOT_READ = "Could not read scene."
SET_BACK = "The time of the scene was set back."
NOT_SUBSCRIBED = "Could not subscribe to scene data. Code: -3"
LOST_OBJECT = "was not found in the storage"

INT32_MIN, INT32_MAX = -2**31, 2**31 - 1
HOUR = 3600 * 10**6  # microseconds
LONGEST_ABSENCE = 300  # seconds
MOST_BAD_STREAMS = 5


def earlier():
    """By how much frames may be older than now: none is older than the machine's start."""
    return min(HOUR, now() // 2)


class SceneFaultTest(FaultTest):
    def break_camera(self, source):
        """Returns where the journal of the bus stood, and when it was."""
        position = len(self.bus.journal)
        self.gate.sources[1] = source
        return position, time.monotonic()

    def wait_for_recovery(self, what, position, since):
        """Camera 1's alarm ends with its stream and is raised again by the next one."""
        position = self.wait_for_alarm(1, False, start=position)
        self.tell(f"{what}: alarm ended after", since)
        self.wait_for_alarm(1, True, start=position)
        self.tell(f"{what}: alarm raised again after", since)

    def lose_stream_and_recover(self, what, transport, broken):
        self.start_scenes(transport)
        self.start_following()
        arrivals = len(self.gate.arrivals)
        position, since = self.break_camera(once(self.walkers[1], broken))
        self.wait_for_recovery(what, position, since)
        self.assertEqual(arrivals + 1, len(self.gate.arrivals))
        self.assert_no_alarm_changes(2, position)
        if transport == "socket":
            self.device.wait_for_log(NOT_READ)
        self.end_well()

    def test_socket_that_closes_in_the_middle_of_a_frame_is_opened_again(self):
        frame = packed(encode([Walker().step()]))
        self.lose_stream_and_recover("closed mid-frame", "socket", Cut(frame[:len(frame) // 2]))

    def test_module_stream_that_closes_in_the_middle_of_a_frame_is_subscribed_again(self):
        frame = packed(encode([Walker().step()]))
        self.lose_stream_and_recover("closed mid-frame, module", "module",
                                     Cut(frame[:len(frame) // 2]))

    def test_socket_whose_frames_have_impossible_lengths_is_opened_again_until_they_are_sound(self):
        self.start_scenes()
        self.start_following()
        frame = encode([Walker().step()])
        # Behind a length of 0 comes nothing that could break the stream in its place.
        for length, payload in ((0, b""), (-1, frame), (INT32_MAX, frame)):
            arrivals = len(self.gate.arrivals)
            bad = packed(payload, length)
            position, since = self.break_camera(lambda data=bad: data)
            self.wait_for_alarm(1, False, start=position)
            wait_until(lambda: len(self.gate.arrivals) >= arrivals + MOST_BAD_STREAMS,
                       "the daemon's attempts")
            self.assert_daemon_is_well()
            self.gate.sources[1] = self.walkers[1]
            self.wait_for_alarm(1, True, start=position)
            self.tell(f"length {length}, {MOST_BAD_STREAMS} streams: alarm raised again after",
                      since)
            self.assert_no_alarm_changes(2, position)
        self.device.wait_for_log(NOT_READ)
        self.end_well()

    def test_module_stream_with_impossible_lengths_is_subscribed_again_until_they_are_sound(self):
        self.start_scenes("module")
        self.start_following()
        for length in (-1, INT32_MAX):
            arrivals = len(self.gate.arrivals)
            bad = packed(encode([Walker().step()]), length)
            position, since = self.break_camera(lambda data=bad: data)
            self.wait_for_alarm(1, False, start=position)
            wait_until(lambda: len(self.gate.arrivals) >= arrivals + MOST_BAD_STREAMS,
                       "the daemon's attempts")
            self.gate.sources[1] = self.walkers[1]
            self.wait_for_alarm(1, True, start=position)
            self.tell(f"module, length {length}, {MOST_BAD_STREAMS} streams: alarm again after",
                      since)
            self.assert_no_alarm_changes(2, position)
        self.end_well()

    def test_module_frames_of_no_length_are_passed_over(self):
        self.start_scenes("module")
        self.start_following()
        arrivals = len(self.gate.arrivals)
        empty = packed(b"")
        position, _ = self.break_camera(lambda: empty + self.walkers[1]())
        self.wait_for_steps(30)
        self.assert_no_alarm_changes(1, position)
        self.assertEqual(arrivals, len(self.gate.arrivals))
        self.end_well()

    def wait_for_steps(self, count, camera=1):
        """Of the walker in front of a camera, one for each frame."""
        seen = []
        make = self.gate.sources[camera]

        def counted():
            seen.append(None)
            return make()

        self.gate.sources[camera] = counted
        wait_until(lambda: len(seen) >= count, f"{count} frames")

    def wait_until_alarm_stays(self, camera):
        """On, and not only for some frames."""
        wait_until(lambda: self.stays_in_alarm(camera), "an alarm that stays")

    def stays_in_alarm(self, camera):
        before = self.alarms(camera)
        self.wait_for_steps(30, camera)
        return before[-1] and before == self.alarms(camera)

    def alarms(self, camera):
        return [happening.value for happening in self.bus.journal.entries()
                if happening.name == alarm(camera)]

    def test_socket_that_stalls_in_the_middle_of_a_frame_is_given_up(self):
        self.start_scenes()
        self.start_following()
        frame = packed(encode([Walker().step()]))
        position, since = self.break_camera(once(self.walkers[1], Stall(frame[:len(frame) // 2])))
        self.gate.stalled.wait_for(lambda _: True, "the stall")
        self.wait_for_steps(30, camera=2)
        self.assert_daemon_is_well()
        self.wait_for_recovery("stalled mid-frame, socket", position, since)
        self.assert_no_alarm_changes(2, position)
        self.end_well()

    def test_module_stream_that_stalls_in_the_middle_of_a_frame_is_given_up(self):
        self.start_scenes("module")
        self.start_following()
        frame = packed(encode([Walker().step()]))
        position, since = self.break_camera(once(self.walkers[1], Stall(frame[:len(frame) // 2])))
        self.gate.stalled.wait_for(lambda _: True, "the stall")
        self.wait_for_steps(30, camera=2)
        self.assert_daemon_is_well()
        self.wait_for_recovery("stalled mid-frame, module", position, since)
        self.assert_no_alarm_changes(2, position)
        self.end_well()

    def test_more_objects_than_are_kept_at_a_time_do_not_harm_those_that_stay(self):
        self.start_scenes()
        self.start_following()
        # Whoever was not seen for longest makes room: here those that were seen only once.
        early = [(number, 0, 0, 0) for number in range(1000, 1450)]
        late = [(number, 0, 0, 0) for number in range(2000, 2100)]
        position, _ = self.break_camera(once(
            lambda: packed(encode([self.walkers[1].step(), *late])),
            packed(encode([self.walkers[1].step(), *early]))))
        self.wait_for_steps(30)
        self.assert_no_alarm_changes(1, position)
        crowd = [(number, 0, 0, 0) for number in range(1000, 1600)]
        position, since = self.break_camera(
            lambda: packed(encode([self.walkers[1].step(), *crowd])))
        self.device.output.wait_for(lambda line: line.endswith(LOST_OBJECT),
                                    "an object that had to make room")
        self.wait_for_steps(30)
        self.assert_daemon_is_well()
        # The objects go without a word, and the walker is somebody new.
        after = Walker(2)
        self.gate.sources[1] = lambda: packed(encode([after.step()], deleted=[1]))
        self.wait_until_alarm_stays(1)
        self.assert_no_alarm_changes(2, position)
        # Nobody at all: the alarm ends, so that nothing of the crowd is left in it.
        position, _ = self.break_camera(lambda: packed(encode([])))
        position = self.wait_for_alarm(1, False, start=position)
        self.gate.sources[1] = Walker(3)
        self.wait_for_alarm(1, True, start=position)
        self.tell("600 objects, then nobody, then one: all done after", since)
        self.end_well()

    def test_ids_that_wrap_are_ids_like_any_other(self):
        self.start_scenes()
        self.start_following()
        start = len(self.bus.journal)
        self.gate.sources[1] = lambda: packed(encode([], deleted=[1]))
        position = self.wait_for_alarm(1, False, start=start)
        for number in (INT32_MAX - 1, INT32_MAX, INT32_MIN, -1, 0, 1, INT32_MAX):
            self.gate.sources[1] = Walker(number)
            position = self.wait_for_alarm(1, True, start=position)
            self.gate.sources[1] = lambda number=number: packed(encode([], deleted=[number]))
            position = self.wait_for_alarm(1, False, start=position)
        self.gate.sources[1] = self.walkers[1]
        self.wait_for_alarm(1, True, start=position)
        self.assert_no_alarm_changes(2, start)
        self.end_well()

    def test_time_stamps_that_jump_back_begin_anew(self):
        self.start_scenes()
        self.start_following()
        walker = self.walkers[1]
        ahead_before = 0
        for ahead in (2 * HOUR, 0, -earlier()):
            position, since = self.break_camera(
                lambda ahead=ahead: packed(encode([walker.step()], now() + ahead)))
            if ahead < ahead_before:  # the alarm is one of the old time, and ends with it
                ended = self.wait_for_alarm(1, False, start=position)
                self.wait_for_alarm(1, True, start=ended)
            # Whatever the jump, who stays is in alarm, and the alarm ends when he leaves.
            self.wait_until_alarm_stays(1)
            self.assert_daemon_is_well()
            left, _ = self.break_camera(lambda ahead=ahead: packed(
                encode([], now() + ahead, deleted=[walker.number])))
            ended = self.wait_for_alarm(1, False, start=left)
            self.gate.sources[1] = lambda ahead=ahead: packed(
                encode([walker.step()], now() + ahead))
            self.wait_for_alarm(1, True, start=ended)
            self.tell(f"{ahead / 10**6:+.0f} s from now, left and came again after", since)
            self.assert_no_alarm_changes(2, position)
            ahead_before = ahead
        self.device.wait_for_log(SET_BACK)
        self.end_well()

    def lose_service_for(self, seconds, transport="module"):
        self.start_scenes(transport)
        self.start_following()
        resources = self.resources()
        position, since = len(self.bus.journal), time.monotonic()
        self.gate.close()
        for camera in self.walkers:
            lost = self.wait_for_alarm(camera, False, start=position)
        self.tell("service gone: alarms ended after", since)
        if seconds > 30:
            self.bus.wait_for_move(is_stop, "the head's stop", start=position)
            ended = self.bus.wait_for("sent", "isSentreling", False, start=position)
            last = [happening.value for happening in self.bus.journal.entries()[position:ended]
                    if happening.what == "move"][-1]
            self.assertTrue(is_stop(last) and last.zoom == 0, last)
            self.tell("service gone: head stood after", since)
            self.bus.wait_for("home", start=lost)
            self.tell("service gone: head sent home after", since)
            while time.monotonic() < since + seconds:
                self.assert_daemon_is_well()
                time.sleep(min(30, max(0, since + seconds - time.monotonic())))
        else:
            time.sleep(max(0, since + seconds - time.monotonic()))
        self.assert_daemon_is_well()
        back, since = len(self.bus.journal), time.monotonic()
        self.gate.open()
        for camera in self.walkers:
            self.wait_for_alarm(camera, True, start=back)
        self.tell(f"service back after {seconds} s: alarms raised again after", since)
        self.bus.wait_for_move(lambda move: not is_stop(move), "a move of the head", start=back)
        self.wait_for_no_more_than(resources)
        self.end_well()

    def test_module_that_disconnects_is_subscribed_again_when_it_returns_after_a_second(self):
        self.lose_service_for(1)
        self.device.wait_for_log(NOT_SUBSCRIBED)

    def test_socket_that_disconnects_is_opened_again_when_it_returns_after_a_second(self):
        self.lose_service_for(1, "socket")

    def test_module_that_disconnects_is_subscribed_again_when_it_returns_after_minutes(self):
        self.lose_service_for(LONGEST_ABSENCE)

    def test_service_that_never_appears_is_waited_for_at_no_cost(self):
        self.start_scenes()
        self.gate.close()
        self.start_daemon()
        self.device.output.wait_for(
            lambda line: "Could not connect to service, result: " in line, "an attempt")
        resources = self.resources()
        attempts = len(self.device.log_lines())
        wait_until(lambda: len(self.device.log_lines()) >= attempts + 50, "many attempts")
        self.wait_for_no_more_than(resources)
        self.assertFalse(HTTP_SOCKET.exists())
        since = time.monotonic()
        self.gate.open()
        self.wait_until_serving()
        self.tell("service appears late: the API answers after", since)
        for camera in self.walkers:
            self.wait_for_alarm(camera, True)
        self.tell("service appears late: alarms after", since)
        self.assertEqual(0, self.daemon.end())
