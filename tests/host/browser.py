"""A page in a real browser: headless Chromium, driven as a person drives it."""

from __future__ import annotations

import base64
import json
import pathlib
import time
from collections.abc import Callable
from typing import Any

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

__all__ = ["Browser", "Keys"]


class Browser:
    def __init__(self, downloads: pathlib.Path) -> None:
        options = webdriver.ChromeOptions()
        for argument in ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--no-first-run", "--disable-extensions",
                         "--disable-background-networking", "--disable-component-update", "--disable-sync", "--disable-quic"):
            options.add_argument(argument)
        options.add_experimental_option("prefs", {"download.default_directory": str(downloads), "download.prompt_for_download": False})
        options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
        self.downloads = downloads
        self.driver = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
        self.driver.set_page_load_timeout(120)
        # What a fold holds is made a moment after it is opened.
        self.driver.implicitly_wait(10)

    def close(self) -> None:
        self.driver.quit()

    def open(self, page: pathlib.Path, width: int = 1200) -> None:
        self.size(width)
        self.driver.get(page.as_uri())
        self.accept_leaving()

    def accept_leaving(self) -> None:
        """The page asks whether to go with decisions that are not saved."""
        try:
            self.driver.switch_to.alert.accept()
        except Exception:  # noqa: BLE001 - there is none
            pass

    def size(self, width: int, height: int = 900, scheme: str = "light") -> None:
        self.command("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1, mobile=False)
        self.command("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": scheme}])

    def command(self, name: str, **arguments: Any) -> Any:
        return self.driver.execute_cdp_cmd(name, arguments)

    def run(self, script: str, *arguments: object) -> Any:
        return self.driver.execute_script(script, *arguments)

    def find(self, selector: str) -> Any:
        return self.driver.find_element(By.CSS_SELECTOR, selector)

    def texts(self, selector: str) -> list[str]:
        """Of all at one moment: rows come and go."""
        return list(self.run("return [...document.querySelectorAll(arguments[0])].map(element => element.innerText)", selector))

    def text(self, selector: str) -> str:
        return str(self.find(selector).text)

    def click(self, selector: str) -> None:
        element = self.find(selector)
        self.run("arguments[0].scrollIntoView({block: 'center'})", element)
        element.click()

    def press(self, *keys: str) -> None:
        ActionChains(self.driver).send_keys(*keys).perform()

    def choose(self, selector: str, text: str) -> None:
        """An option of a list, by its text."""
        self.run("""const [list, text] = arguments, option = [...list.options].find(one => one.text === text);
            list.value = option.value; list.dispatchEvent(new Event('change'));""", self.find(selector), text)

    def type(self, selector: str, text: str) -> None:
        """Text in place of what is in a field."""
        self.run("arguments[0].value = arguments[1]; arguments[0].dispatchEvent(new Event('input'))", self.find(selector), text)

    def until(self, holds: Callable[[], object], what: str, seconds: float = 20) -> None:
        end = time.monotonic() + seconds
        while not holds():
            if time.monotonic() > end:
                raise AssertionError(f"this never came: {what}")
            time.sleep(0.05)

    def saved(self) -> pathlib.Path:
        """What "Save decisions" gave, when it is whole."""
        for old in self.downloads.glob("*.json"):
            old.unlink()
        self.click("#save")
        # The browser holds the name with an empty file until the whole one takes its place.
        self.until(lambda: [file for file in self.downloads.glob("decisions*.json") if file.stat().st_size != 0] and not list(self.downloads.glob("*.crdownload")),
                   "a file of decisions")
        return next(self.downloads.glob("decisions*.json"))

    def complaints(self) -> list[str]:
        """What the page wrote to the browser's console, and whom it asked for anything."""
        console = [entry["message"] for entry in self.driver.get_log("browser")]
        events = [json.loads(entry["message"])["message"] for entry in self.driver.get_log("performance")]
        asked = [event["params"]["request"]["url"] for event in events if event["method"] == "Network.requestWillBeSent"]
        return console + [url for url in asked if not url.startswith(("file:", "data:", "blob:"))]

    def screenshot(self, path: pathlib.Path) -> None:
        path.write_bytes(base64.b64decode(self.command("Page.captureScreenshot", format="png")["data"]))

    def pdf(self) -> bytes:
        return base64.b64decode(self.command("Page.printToPDF")["data"])
