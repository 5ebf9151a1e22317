"""Firefox, driven by Marionette: JSON texts over a socket, each with its length and a colon before it."""

import base64
import json
import pathlib
import shutil
import socket

import process

NAME = "Firefox"
PROGRAM = shutil.which("firefox-esr") or shutil.which("firefox")

PAGE_HOST = "11111111-2222-4333-8444-555555555555"  # the random part of the extension's address, fixed for the test
ELEMENT = "element-6066-11e4-a52e-4f735466cecf"  # the key under which WebDriver names an element


class Browser:
    """A headless Firefox with the extension as a temporary add-on."""

    def __init__(self, home, extension, profile=None):
        """With no extension, and a profile that is there already, if so given."""
        if profile is None:
            profile = home / "profile"
            profile.mkdir()
        preferences = {
            "marionette.port": 0,  # any free one
            "xpinstall.signatures.required": False,
            "extensions.webextensions.uuids": json.dumps({extension["gecko_id"]: PAGE_HOST} if extension else {}),
            "browser.download.folderList": 2,
            "browser.download.dir": str(home / "Downloads"),
            "browser.download.always_ask_before_handling_new_types": False,
            "browser.helperApps.neverAsk.saveToDisk": "application/xml,text/xml",
            "browser.shell.checkDefaultBrowser": False,
            "browser.startup.page": 0,
            "app.normandy.enabled": False,
            "datareporting.policy.dataSubmissionEnabled": False,
            "network.captive-portal-service.enabled": False,
            "network.connectivity-service.enabled": False,
        }
        (profile / "user.js").write_text(
            "".join(f"user_pref({json.dumps(name)}, {json.dumps(value)});\n" for name, value in preferences.items()))
        self.process = process.start(
            [PROGRAM, "--headless", "--marionette", "--remote-allow-system-access", "--no-remote", "--width=900",
             "--height=1200", "--profile", str(profile)], home)
        port = process.until(lambda: self._port(profile / "MarionetteActivePort"), "the driver's port")
        self.socket = socket.create_connection(("127.0.0.1", port))
        self.stream = self.socket.makefile("rb")
        self.count = 0
        self._receive()  # a greeting
        self.send("WebDriver:NewSession", capabilities={"alwaysMatch": {}})
        if extension and extension["folder"]:
            self.send("Addon:Install", path=str(extension["folder"]), temporary=True)
        elif extension:
            self._wait_for_addon(extension["gecko_id"])

    def _wait_for_addon(self, addon):
        """A policy has the browser install it."""
        self.send("Marionette:SetContext", value="chrome")
        process.until(lambda: self.run(f"""
            const {{ AddonManager }} = ChromeUtils.importESModule('resource://gre/modules/AddonManager.sys.mjs');
            return (await AddonManager.getAddonByID({json.dumps(addon)}))?.isActive;"""), "the add-on")
        self.send("Marionette:SetContext", value="content")

    def _port(self, file):
        if self.process.poll() is not None:
            raise process.BrowserGone("start")
        return int(file.read_text() or 0) if file.exists() else 0

    def _receive(self):
        length = b""
        while not length.endswith(b":"):
            digit = self.stream.read(1)
            if not digit:
                raise process.BrowserGone("answer")
            length += digit
        return json.loads(self.stream.read(int(length[:-1])))

    def send(self, command, **parameters):
        self.count += 1
        text = json.dumps([0, self.count, command, parameters]).encode()
        self.socket.sendall(b"%d:%s" % (len(text), text))
        _, _, error, result = self._receive()
        if error:
            raise RuntimeError(f"{command}: {error['message']}")
        return result["value"] if isinstance(result, dict) and "value" in result else result

    def open(self, page):
        self.send("WebDriver:Navigate", url=f"moz-extension://{PAGE_HOST}/{page}")

    def open_address(self, address):
        """Opens a tab, and turns to it."""
        self.send("WebDriver:SwitchToWindow", handle=self.send("WebDriver:NewWindow", type="tab")["handle"])
        self.send("WebDriver:Navigate", url=address)

    def switch_to(self, address):
        """Turns to the window or tab whose address holds this text, once it is there."""
        process.until(lambda: any(self._is_at(handle, address) for handle in self.send("WebDriver:GetWindowHandles")),
                      f"a window with {address}")

    def _is_at(self, handle, address):
        self.send("WebDriver:SwitchToWindow", handle=handle)
        return address in self.send("WebDriver:GetCurrentURL") and self.run("return document.readyState") == "complete"

    def run(self, script):
        """The value that the body of an async function returns in the page."""
        value, failure = self.send("WebDriver:ExecuteAsyncScript", args=[], script=f"""
            const done = arguments[arguments.length - 1];
            (async () => {{ {script} }})().then((value) => done([value ?? null, null]), (error) => done([null, String(error)]));
            """)
        if failure:
            raise RuntimeError(failure)
        return value

    def run_as_browser(self, script):
        """The value that the body of a function returns with the rights of the browser itself."""
        self.send("Marionette:SetContext", value="chrome")
        return self.send("WebDriver:ExecuteScript", args=[], script=script)

    def choose_files(self, element_id, files):
        element = self.send("WebDriver:FindElement", using="css selector", value=f"#{element_id}")[ELEMENT]
        self.send("WebDriver:ElementClear", id=element)
        for file in files:
            self.send("WebDriver:ElementSendKeys", id=element, text=str(file))

    def screenshot(self, file):
        pathlib.Path(file).write_bytes(base64.b64decode(self.send("WebDriver:TakeScreenshot", full=True)))

    def close(self):
        """Closes the browser as its menu would."""
        try:
            self.send("Marionette:Quit", flags=["eForceQuit"])
        except (process.BrowserGone, ConnectionError):
            pass
        process.end(self.process)
        self.stream.close()
        self.socket.close()
