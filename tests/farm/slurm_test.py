"""The batch script for Slurm, run by a Slurm of one node: munge, controller and node are started
here, as processes on the loopback address.
SPDX-License-Identifier: MIT"""
import getpass
import os
import shutil
import signal
import socket
import subprocess
import time
import unittest

from program import EXAMPLES, PROGRAM, ProgramTest, heavy

PATIENCE_S = 100
DAEMONS = ("munged", "slurmctld", "slurmd")
CONFIGURATION = """ClusterName=loopback
SlurmctldHost={host}(127.0.0.1)
SlurmUser={user}
SlurmdUser={user}
AuthType=auth/munge
AuthInfo=socket={folder}/munge.socket
SlurmctldPort={ports[0]}
SlurmdPort={ports[1]}
CommunicationParameters=NoInAddrAny,NoCtldInAddrAny
StateSaveLocation={folder}
SlurmdSpoolDir={folder}/spool
SlurmctldPidFile={folder}/slurmctld.pid
SlurmdPidFile={folder}/slurmd.pid
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
MpiDefault=none
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU
NodeName={host} NodeAddr=127.0.0.1 CPUs=2
PartitionName=all Nodes=ALL Default=YES
"""


def free_ports(count):
    probes = [socket.create_server(("127.0.0.1", 0)) for _ in range(count)]
    ports = [probe.getsockname()[1] for probe in probes]
    for probe in probes:
        probe.close()
    return ports


@heavy("farm")
class Slurm(ProgramTest):
    def setUp(self):
        super().setUp()
        missing = [name for name in (*DAEMONS, "sbatch") if not self.find(name)]
        if missing:
            self.skipTest(f"not installed: {', '.join(missing)}")
        self.slurm = self.path("slurm")
        os.mkdir(self.slurm)
        os.chmod(self.folder, 0o755)  # munge wants to be reached
        self.write_bytes("slurm/key", os.urandom(1024))
        os.chmod(self.path("slurm/key"), 0o600)
        self.write_bytes("slurm/slurm.conf", CONFIGURATION.format(
            host=socket.gethostname().split(".")[0], user=getpass.getuser(), folder=self.slurm,
            ports=free_ports(2)).encode())
        self.environment = dict(os.environ, SLURM_CONF=self.path("slurm/slurm.conf"),
                                PATH=f"{os.path.dirname(PROGRAM)}:{os.environ['PATH']}")
        self.start("munged", "--foreground",
                   *(f"--{option}={self.slurm}/{file}" for option, file in (
                       ("socket", "munge.socket"), ("key-file", "key"), ("pid-file", "munged.pid"),
                       ("log-file", "munged.log"), ("seed-file", "seed"))))
        self.start("slurmctld", "-D")
        self.start("slurmd", "-D")
        if not self.wait_for(lambda: "idle" in self.ask("sinfo", "-h", "-o", "%T"), 30):
            self.skipTest("Slurm does not start here: " + self.text_of("slurmctld")[-300:])

    def find(self, name):
        return shutil.which(name, path=os.environ["PATH"] + ":/usr/sbin:/sbin")

    def start(self, name, *options):
        with open(self.path(f"slurm/{name}.out"), "w") as log:
            process = subprocess.Popen([self.find(name), *options], env=self.environment,
                                       stdout=log, stderr=log)
        self.addCleanup(process.wait, PATIENCE_S)
        self.addCleanup(process.send_signal, signal.SIGTERM)

    def text_of(self, name):
        with open(self.path(f"slurm/{name}.out")) as log:
            return log.read()

    def ask(self, *command, **given):
        return subprocess.run(command, env=self.environment, cwd=self.folder, text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, **given).stdout

    def wait_for(self, condition, seconds=PATIENCE_S):
        until = time.monotonic() + seconds
        while time.monotonic() < until:
            if condition():
                return True
            time.sleep(0.2)
        return False

    def wait_for_jobs(self):
        self.assertTrue(self.wait_for(lambda: not self.ask("squeue", "-h")), self.ask("squeue"))

    def test_an_array_with_a_task_that_is_killed_is_submitted_again(self):
        options = ("--resolution", "64x64", "--sample", "90", "--seed", "5", "--mode", "path")
        scene = EXAMPLES + "/cornell"
        script = self.run_here("farm", "slurm", scene, "--tasks", "3", "--output-dir", "out",
                               *options).stdout
        self.write_bytes("job.sh", script.encode())
        self.ask("sbatch", "job.sh", check=True)
        self.assertTrue(self.wait_for(lambda: "RUNNING" in self.ask("squeue", "-h", "-o", "%T")))
        self.ask("scancel", "--signal=KILL", "--state=RUNNING", "--me")
        self.wait_for_jobs()
        self.assertFalse(os.path.exists(self.path("out/beauty.hdr")))
        self.ask("sbatch", "job.sh", check=True)
        self.wait_for_jobs()
        self.run_here(scene, "--output-dir", "alone", "--progress", "none", *options)
        self.assertEqual(self.bytes_of("out/beauty.hdr"), self.bytes_of("alone/beauty.hdr"))


if __name__ == "__main__":
    unittest.main()
