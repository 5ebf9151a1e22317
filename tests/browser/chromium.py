"""Chromium, driven by its DevTools protocol over two pipes: JSON texts, each with a zero byte behind it."""

import base64
import json
import os
import pathlib
import shutil

import process

NAME = "Chromium"
PROGRAM = shutil.which("chromium")


class Browser:
    """A headless Chromium with the extension loaded; its profile is the one that a user of this home would have."""

    def __init__(self, home, extension):
        self.extension_id = extension["chromium_id"]
        self.count = 0
        self.rest = b""
        commands, self.commands = os.pipe()
        self.answers, answers = os.pipe()
        flags = ["--headless=new", "--disable-gpu", "--no-first-run", "--disable-sync", "--password-store=basic",
                 "--window-size=900,1200", f"--user-data-dir={home}/.config/chromium", "--remote-debugging-pipe", "about:blank"]
        if extension["folder"]:  # otherwise a policy has the browser fetch it
            flags += [f"--load-extension={extension['folder']}", "--disable-background-networking", "--disable-component-update"]
        if os.geteuid() == 0:
            flags.insert(0, "--no-sandbox")
        # The browser reads commands from descriptor 3 and writes answers to 4, by way of numbers that no pipe here has.
        shell = ["bash", "-c", f'exec 208<&{commands} 209>&{answers}; exec 3<&208 4>&209 208<&- 209>&-; exec "$@"', "chromium"]
        self.process = process.start([*shell, PROGRAM, *flags], home, pass_fds=(commands, answers))
        os.close(commands)
        os.close(answers)
        self.session = None
        process.until(self._extension_is_there, "the extension")
        self.send("Browser.setDownloadBehavior", behavior="allow", downloadPath=str(home / "Downloads"))

    def _extension_is_there(self):
        targets = self.send("Target.getTargets")["targetInfos"]
        return any(target["url"].startswith(f"chrome-extension://{self.extension_id}/") for target in targets)

    def send(self, method, **parameters):
        self.count += 1
        message = {"id": self.count, "method": method, "params": parameters}
        if self.session and not method.startswith(("Target.", "Browser.")):
            message["sessionId"] = self.session
        os.write(self.commands, json.dumps(message).encode() + b"\0")
        while True:
            while b"\0" in self.rest:
                text, self.rest = self.rest.split(b"\0", 1)
                answer = json.loads(text)
                if answer.get("id") == self.count:
                    if "error" in answer:
                        raise RuntimeError(f"{method}: {answer['error']['message']}")
                    return answer["result"]
            piece = os.read(self.answers, 1 << 20)
            if not piece:
                raise process.BrowserGone(method)
            self.rest += piece

    def open(self, page):
        self.open_address(f"chrome-extension://{self.extension_id}/{page}")

    def open_address(self, address):
        """Opens a tab, and turns to it."""
        self._attach(self.send("Target.createTarget", url=address)["targetId"])

    def switch_to(self, address):
        """Turns to the window or tab whose address holds this text, once it is there."""
        self._attach(process.until(lambda: next(
            (target["targetId"] for target in self.send("Target.getTargets")["targetInfos"]
             if target["type"] == "page" and address in target["url"]), None), f"a window with {address}"))

    def _attach(self, target):
        self.session = self.send("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        process.until(lambda: self.run("return location.protocol !== 'about:' && document.readyState === 'complete'"),
                      "the page")

    def run(self, script):
        """The value that the body of an async function returns in the page."""
        answer = self.send("Runtime.evaluate", expression=f"(async () => {{ {script} }})()", awaitPromise=True,
                           returnByValue=True, userGesture=True)
        if "exceptionDetails" in answer:
            raise RuntimeError(answer["exceptionDetails"])
        return answer["result"].get("value")

    def choose_files(self, element_id, files):
        root = self.send("DOM.getDocument")["root"]["nodeId"]
        node = self.send("DOM.querySelector", nodeId=root, selector=f"#{element_id}")["nodeId"]
        self.send("DOM.setFileInputFiles", nodeId=node, files=[str(file) for file in files])

    def screenshot(self, file):
        picture = self.send("Page.captureScreenshot", captureBeyondViewport=True)["data"]
        pathlib.Path(file).write_bytes(base64.b64decode(picture))

    def close(self):
        """Closes the browser as its menu would."""
        try:
            self.send("Browser.close")
        except (process.BrowserGone, BrokenPipeError):
            pass
        process.end(self.process)
        os.close(self.commands)
        os.close(self.answers)
