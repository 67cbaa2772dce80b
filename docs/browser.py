"""A headless Chromium over its pipe, with nothing but the standard library.

    with Browser() as browser:
        browser.size(360, 740)
        browser.open('file:///tmp/page.html')
        browser.key('ArrowRight')
        browser.run('document.title')

Keys and text come as from a keyboard, so that what the browser itself does with them happens, too. A script's exception
and one on the page's console end the check."""
import base64
import json
import os
import shutil
import subprocess
import tempfile
import time


class Browser:
    def __init__(self):
        self.profile = tempfile.mkdtemp()
        self.number = 0
        self.errors = []
        toBrowser, self.write = os.pipe()
        self.read, fromBrowser = os.pipe()
        ends = [os.dup(toBrowser) for _ in range(8)]  # so that both ends lie above 4

        def place():
            there, back = os.dup(toBrowser), os.dup(fromBrowser)
            os.dup2(there, 3)
            os.dup2(back, 4)

        self.process = subprocess.Popen(
            ['chromium', '--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
             '--disable-background-networking', '--disable-component-update', '--disable-sync', '--disable-extensions',
             '--hide-scrollbars', '--renderer-process-limit=1', '--remote-debugging-pipe', '--user-data-dir=' + self.profile,
             'about:blank'],
            preexec_fn=place, close_fds=False, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        for end in ends + [toBrowser, fromBrowser]:
            os.close(end)
        self.buffer = b''
        target = self.call('Target.createTarget', {'url': 'about:blank'})['targetId']
        self.session = None
        self.session = self.call('Target.attachToTarget', {'targetId': target, 'flatten': True})['sessionId']
        self.call('Page.enable')
        self.call('Runtime.enable')

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.terminate()
        self.process.wait()
        os.close(self.read)
        os.close(self.write)
        shutil.rmtree(self.profile, ignore_errors=True)

    def message(self):
        while b'\0' not in self.buffer:
            more = os.read(self.read, 1 << 16)
            if not more:
                raise SystemExit('chromium has ended')
            self.buffer += more
        text, self.buffer = self.buffer.split(b'\0', 1)
        message = json.loads(text)
        if message.get('method') == 'Runtime.exceptionThrown':
            self.errors.append(message['params']['exceptionDetails'])
        return message

    def call(self, method, parameters=None):
        self.number += 1
        request = {'id': self.number, 'method': method, 'params': parameters or {}}
        if getattr(self, 'session', None):
            request['sessionId'] = self.session
        os.write(self.write, json.dumps(request).encode() + b'\0')
        while True:
            message = self.message()
            if message.get('id') == self.number:
                if 'error' in message:
                    raise SystemExit('%s: %s' % (method, message['error']))
                return message['result']

    def run(self, script):
        """The value of an expression, which may be a promise."""
        result = self.call('Runtime.evaluate', {'expression': script, 'returnByValue': True, 'awaitPromise': True})
        if 'exceptionDetails' in result:
            raise SystemExit('%s\n%s' % (script[:200], json.dumps(result['exceptionDetails'].get('exception', {}).get('description'))))
        if self.errors:
            raise SystemExit('the page throws: ' + json.dumps(self.errors[0].get('exception', {}).get('description')))
        return result['result'].get('value')

    def size(self, width, height):
        self.call('Emulation.setDeviceMetricsOverride',
                  {'width': width, 'height': height, 'deviceScaleFactor': 1, 'mobile': width < 600})

    def open(self, address):
        self.call('Page.navigate', {'url': 'about:blank'})
        self.call('Page.navigate', {'url': address})
        for _ in range(600):
            if self.run('document.readyState === "complete" && location.href !== "about:blank"'):
                return self.settle()
            time.sleep(0.05)
        raise SystemExit('the page does not load: ' + address)

    def settle(self):
        """Waits until what follows from the last step is drawn."""
        self.run('new Promise(done => requestAnimationFrame(() => requestAnimationFrame(() => done(1))))')

    def key(self, key, shift=False):
        code, number = {'/': ('Slash', 191), 'Enter': ('Enter', 13), 'Tab': ('Tab', 9), 'ArrowLeft': ('ArrowLeft', 37), 'ArrowUp': ('ArrowUp', 38),
                        'ArrowRight': ('ArrowRight', 39), 'ArrowDown': ('ArrowDown', 40), 'Backspace': ('Backspace', 8)}[key]
        event = {'key': key, 'code': code, 'windowsVirtualKeyCode': number, 'modifiers': 8 if shift else 0}
        text = {'Enter': '\r', '/': '/'}.get(key)
        self.call('Input.dispatchKeyEvent', {'type': 'keyDown' if text else 'rawKeyDown', **event, **({'text': text} if text else {})})
        self.call('Input.dispatchKeyEvent', {'type': 'keyUp', **event})
        self.settle()

    def type(self, text):
        """Into what has the focus, in place of what stands there."""
        self.run('document.activeElement.select()')
        if text == '':
            return self.key('Backspace')
        self.call('Input.insertText', {'text': text})
        self.settle()

    def picture(self, path, whole=False):
        shot = self.call('Page.captureScreenshot', {'format': 'png', 'captureBeyondViewport': whole})
        with open(path, 'wb') as file:
            file.write(base64.b64decode(shot['data']))
